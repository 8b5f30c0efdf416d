#include "results/recorder.h"

#include <string.h>

#include <chrono>
#include <filesystem>
#include <utility>

#include "base/box_files.h"
#include "node/agent/protocol.h"
#include "results/json.h"

namespace lab {

namespace {

enum Interface : unsigned { kAir, kEvents, kCommands };

constexpr std::size_t kLogOnPage = 1U << 20U;
constexpr std::chrono::seconds kHeld{2};

// The machine's date and time at the run's beginning, by which captures are stamped.
std::uint64_t stamp(Time time) {
  static const auto began = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>((began + time).count());
}

Json entry(Time time, const Node& node, const char* what) {
  Json json(cJSON_CreateObject());
  cJSON_AddNumberToObject(json.get(), "t", static_cast<double>(time.count() / 1000) / 1e6);
  cJSON_AddStringToObject(json.get(), "unit", node.name.c_str());
  cJSON_AddStringToObject(json.get(), "what", what);
  return json;
}

Json entry(const Happening& seen, const char* what) {
  return entry(seen.time, seen.node, what);
}

void tell_page(Recorder& recorder, const std::string& text) {
  recorder.told.push_back(text);
  if (recorder.teller) {
    recorder.teller(text);
  }
}

void tell_log(Recorder& recorder) {
  if (recorder.log.node != nullptr) {
    const LogPiece piece = std::exchange(recorder.log, {});
    const Json json = entry(piece.time, *piece.node, "log");
    cJSON_AddStringToObject(json.get(), "text", piece.text.c_str());
    tell_page(recorder, text_of(json));
  }
}

// The page has each unit's log by the moments at which it came, up to a bound.
void add_to_log(Recorder& recorder, const Happening& seen, const std::string& line) {
  std::size_t& size = recorder.logged[&seen.node];
  if (size > kLogOnPage) {
    return;
  }
  size += line.size() + 1;
  LogPiece& piece = recorder.log;
  if (piece.node != &seen.node || seen.time - piece.time > 20ms) {
    tell_log(recorder);
    piece = {&seen.node, seen.time, {}};
  }
  piece.text += line + "\n";
  if (size > kLogOnPage) {
    piece.text += "(what came later stands in " + seen.node.name + ".log)\n";
  }
}

void write_held(Recorder& recorder, std::chrono::steady_clock::duration age) {
  const auto now = std::chrono::steady_clock::now();
  for (auto& held = recorder.held; !held.empty() && now - held.front().since >= age;
       held.pop_front()) {
    const HeldPacket& packet = held.front();
    recorder.air.packet(packet.interface, packet.stamp, packet.bytes, packet.comment);
  }
}

void hold(Recorder& recorder, Interface interface, Time time, Bytes bytes,
          const std::string& comment, std::uint64_t frame = 0) {
  recorder.held.push_back(
      {interface, stamp(time), std::move(bytes), comment, frame, std::chrono::steady_clock::now()});
  write_held(recorder, kHeld);
}

// The page shows all but what comes many times a second: beacons, probes, scans.
void write_entry(Recorder& recorder, const Json& json, bool on_page = true) {
  const std::string text = text_of(json);
  fprintf(recorder.timeline.get(), "%s\n%s", recorder.first_entry ? "[" : ",", text.c_str());
  recorder.first_entry = false;
  if (on_page) {
    tell_log(recorder);
    tell_page(recorder, text);
  }
}

std::string ms_text(Time time) {
  char text[32];
  snprintf(text, sizeof text, "%.1f ms", seconds(time) * 1000);
  return text;
}

// What became of a frame, in words: the packet's comment in the capture.
std::string comment_of(const Mesh& mesh, const Transmission& sent) {
  std::string text = "from " + node_of(mesh, *sent.from).name;
  if (sent.resent) {
    text += ", sent again";
  }
  for (const Reception& reception : sent.receptions) {
    const Fate& fate = reception.fate;
    text += "; " + node_of(mesh, *reception.radio).name + ": ";
    text += fate.lost ? "LOST" : "heard after " + ms_text(fate.delay);
    text += !fate.lost && fate.again ? " and again after " + ms_text(*fate.again) : "";
  }
  for (const Radio* radio : sent.elsewhere) {
    text += "; " + node_of(mesh, *radio).name + ": NOT HEARD, ";
    text += radio->on ? "it listens to channel " + std::to_string(listens_to(*radio))
                      : "it is switched off";
  }
  return sent.receptions.empty() && sent.elsewhere.empty() ? text + "; nobody listens" : text;
}

void add_names(const Json& json, const char* key, const std::vector<std::string>& names) {
  if (!names.empty()) {
    cJSON* list = cJSON_AddArrayToObject(json.get(), key);
    for (const std::string& name : names) {
      cJSON_AddItemToArray(list, cJSON_CreateString(name.c_str()));
    }
  }
}

Json frame_entry(const Mesh& mesh, const Happening& seen, const FrameSent& frame) {
  const Transmission& sent = frame.frame;
  Json json = entry(seen, "frame");
  cJSON_AddStringToObject(json.get(), "kind", name_of(sent.frame.kind));
  if (sent.operation != 0) {
    cJSON_AddNumberToObject(json.get(), "operation", sent.operation);
  }
  cJSON_AddStringToObject(
      json.get(), "to",
      frame.to != nullptr ? frame.to->name.c_str() : text_of(sent.frame.to).c_str());
  cJSON_AddNumberToObject(json.get(), "channel", sent.channel);
  cJSON_AddNumberToObject(json.get(), "bytes", static_cast<double>(sent.bytes.size()));
  if (sent.resent) {
    cJSON_AddTrueToObject(json.get(), "resent");
  }
  if (frame.missed()) {
    cJSON_AddTrueToObject(json.get(), "missed");
  }
  std::vector<std::string> lost;
  std::vector<std::string> heard;
  std::vector<std::string> elsewhere;
  for (const Reception& reception : sent.receptions) {
    (reception.fate.lost ? lost : heard).push_back(node_of(mesh, *reception.radio).name);
  }
  for (const Radio* radio : sent.elsewhere) {
    elsewhere.push_back(node_of(mesh, *radio).name);
  }
  add_names(json, "lost", lost);
  add_names(json, "heard", heard);
  add_names(json, "not_heard", elsewhere);
  return json;
}

std::string kind_of(const Happening& seen, const Transmission& sent) {
  if (seen.node.kind == NodeKind::stranger) {
    return "from the stranger";
  }
  return sent.operation != 0 ? "operation " + std::to_string(sent.operation)
                             : name_of(sent.frame.kind);
}

// Writes down what is told of one happening: packets, an entry of the timeline, the report's data.
struct Writer {
  Recorder& recorder;
  const Mesh& mesh;
  const Happening& seen;

  void operator()(const FrameSent& frame) const {
    const Transmission& sent = frame.frame;
    Bytes packet = radiotap(sent.channel);
    put(packet, sent.bytes);
    const std::string comment = comment_of(mesh, sent);
    hold(recorder, kAir, sent.time, packet, comment, sent.number);
    const Json json = frame_entry(mesh, seen, frame);
    if (sent.operation != 0) {
      cJSON_AddNumberToObject(json.get(), "frame", static_cast<double>(sent.number));
      cJSON_AddStringToObject(json.get(), "note", comment.c_str());
      cJSON_AddStringToObject(json.get(), "body", hex(sent.frame.body).c_str());
    }
    write_entry(recorder, json, sent.operation != 0);
    auto& [count, count_lost] = recorder.kinds[kind_of(seen, sent)];
    ++count;
    count_lost += frame.missed() ? 1 : 0;
  }
  void operator()(const DriverTold& told) const {
    hold(recorder, kEvents, seen.time, udp_packet(kEventPort, told.datagram),
         "driver event for the daemon of " + seen.node.name, told.frame);
    if (told.operation != 0) {
      const Json json = entry(seen, "heard");
      cJSON_AddStringToObject(json.get(), "from", told.from->name.c_str());
      cJSON_AddNumberToObject(json.get(), "operation", told.operation);
      cJSON_AddNumberToObject(json.get(), "frame", static_cast<double>(told.frame));
      write_entry(recorder, json);
    }
  }
  void operator()(const Unserved& unserved) const {
    for (HeldPacket& packet : recorder.held) {
      if (packet.frame == unserved.frame) {
        packet.comment += "; " + seen.node.name + ": NOT SERVED, " + unserved.why;
      }
    }
    const Json json = entry(seen, "unserved");
    cJSON_AddStringToObject(json.get(), "from", unserved.from->name.c_str());
    cJSON_AddNumberToObject(json.get(), "operation", unserved.operation);
    cJSON_AddNumberToObject(json.get(), "frame", static_cast<double>(unserved.frame));
    cJSON_AddStringToObject(json.get(), "text", unserved.why.c_str());
    write_entry(recorder, json);
  }
  void operator()(const CommandRun& run) const {
    const std::string line = seen.node.name + ": " + run.line;
    const Json json = text_entry("command");
    cJSON_AddNumberToObject(json.get(), "status", run.status);
    hold(recorder, kCommands, seen.time, text_packet(line),
         line + " (exit status " + std::to_string(run.status) + ")");
    write_entry(recorder, json);
  }
  void operator()(const ModeEntered& entered) const {
    const Json json = entry(seen, "mode");
    cJSON_AddNumberToObject(json.get(), "mode", entered.mode);
    cJSON_AddNumberToObject(json.get(), "before", entered.before);
    write_entry(recorder, json);
  }
  void operator()(const NvramSet& set) const {
    const Json json = entry(seen, "nvram");
    if (!set.value) {
      cJSON_AddStringToObject(json.get(), "text", "removed");
    }
    cJSON_AddStringToObject(json.get(), "key", set.key.c_str());
    cJSON_AddStringToObject(json.get(), "value", set.value.value_or("").c_str());
    write_entry(recorder, json);
  }
  void operator()(const Logged& logged) const { add_to_log(recorder, seen, logged.line); }
  void operator()(const TableFull& /*told*/) const { write_text("daemon"); }
  void operator()(const DaemonEnded& end) const { write_text(end.crashed ? "fault" : "daemon"); }
  void operator()(const PowerSwitched& /*told*/) const { write_tuned("power"); }
  void operator()(const Arrived& /*told*/) const {
    const Json json = text_entry("arrived");
    cJSON_AddStringToObject(json.get(), "station", text_of(seen.node.radio.mac).c_str());
    write_entry(recorder, json);
  }
  void operator()(const Tuned& /*told*/) const { write_tuned("channel"); }
  void operator()(const DaemonStarted& /*told*/) const { write_text("daemon"); }
  void operator()(const PlatformActed& /*told*/) const { write_text("platform"); }
  void operator()(const DirectorActed& /*told*/) const { write_text("scenario"); }
  void operator()(const NvramTorn& /*told*/) const { write_text("fault"); }
  void operator()(const Fault& /*told*/) const { write_text("fault"); }

  [[nodiscard]] Json text_entry(const char* what) const {
    Json json = entry(seen, what);
    cJSON_AddStringToObject(json.get(), "text", words_of(seen.what).c_str());
    return json;
  }
  // With the channel on which its radio is from now on.
  void write_tuned(const char* what) const {
    const Json json = text_entry(what);
    cJSON_AddNumberToObject(json.get(), "channel", seen.node.radio.channel);
    write_entry(recorder, json);
  }
  void write_text(const char* what) const { write_entry(recorder, text_entry(what)); }
};

// What is not there (a unit that was never switched on has no log) is passed over, and so is what
// the daemon has made something else than a file.
bool copy_evidence(const Recorder& recorder, Mesh& mesh) {
  static constexpr std::array<std::pair<const char*, const char*>, 4> kFiles{
      {{"tmp/vexo_nvram", ".nvram"},
       {kLog, ".log"},
       {"lab/log/vorlent_dbg.log.1", ".log.1"},
       {"lab/stdout.log", ".stdout"}}};
  bool whole = true;
  for (const auto& node : mesh.nodes) {
    if (node->kind == NodeKind::stranger) {
      continue;  // it has no box
    }
    for (const auto& [name, suffix] : kFiles) {
      const auto text = read_in_box(node->sandbox.folder, name);
      if (text) {
        whole = write_file(recorder.folder + "/" + node->name + suffix, *text) && whole;
      } else if (errno != ENOENT) {
        publish(mesh, *node, Fault{std::string(name) + " is left out: " + strerror(errno)});
      }
    }
  }
  return whole;
}

// What an earlier run left in the folder must not pass for a part of this one.
void remove_earlier_results(const std::string& folder) {
  const auto remove = [&](const std::string& file) {
    std::error_code ignored;
    std::filesystem::remove(folder + "/" + file, ignored);
  };
  remove("report.html");
  std::vector<std::string> names{"base"};
  for (int i = 1; i <= kMaxUnits; ++i) {
    names.push_back("unit-" + std::to_string(i));
    names.push_back("base-" + std::to_string(i));
  }
  for (const std::string& name : names) {
    for (const char* suffix : {".nvram", ".log", ".log.1", ".stdout"}) {
      remove(name + suffix);
    }
  }
}

}  // namespace

bool write_file(const std::string& path, std::string_view text) {
  const File file(fopen(path.c_str(), "we"));
  return file != nullptr && fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
         fflush(file.get()) == 0;
}

std::string no_write(const Recorder& recorder, const char* file) {
  return recorder.folder + "/" + file + ": cannot be written: " + strerror(errno) +
         "; the results are not whole";
}

std::string open_record(Recorder& recorder, const std::string& folder) {
  std::error_code error;
  recorder.folder = folder;
  std::filesystem::create_directories(folder, error);
  if (error) {
    return "the folder \"" + folder + "\" cannot be made: " + error.message();
  }
  remove_earlier_results(folder);
  stamp({});
  recorder.timeline.reset(fopen((folder + "/timeline.json").c_str(), "we"));
  if (!recorder.timeline || !recorder.air.open(folder + "/air.pcapng")) {
    return folder + ": results cannot be written: " + strerror(errno);
  }
  recorder.air.add_interface(kLinkRadiotap, "air", "every frame that was on the air");
  recorder.air.add_interface(kLinkIp, "driver-events", "what the drivers told the daemons");
  recorder.air.add_interface(kLinkUpperPdu, "commands", "what the daemons asked of their platform");
  return {};
}

void record(Recorder& recorder, const Mesh& mesh, const Happening& seen) {
  std::visit(Writer{recorder, mesh, seen}, seen.what);
}

bool record_failed(const Recorder& recorder) {
  return recorder.air.failed() || ferror(recorder.timeline.get()) != 0;
}

std::string close_record(Recorder& recorder, Mesh& mesh) {
  tell_log(recorder);
  write_held(recorder, {});
  const bool copied = copy_evidence(recorder, mesh);
  const int why = errno;
  fputs(recorder.first_entry ? "[]\n" : "\n]\n", recorder.timeline.get());
  const bool whole = fflush(recorder.timeline.get()) == 0 && ferror(recorder.timeline.get()) == 0;
  if (!recorder.air.close()) {
    return no_write(recorder, "air.pcapng");
  }
  if (!whole) {
    return no_write(recorder, "timeline.json");
  }
  errno = why;
  return copied ? "" : no_write(recorder, "UNIT.nvram and UNIT.log");
}

}  // namespace lab
