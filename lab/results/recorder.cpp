#include "results/recorder.h"

#include <cjson/cJSON.h>
#include <string.h>

#include <chrono>
#include <filesystem>

#include "base/box_files.h"
#include "lab.h"
#include "node/agent/protocol.h"
#include "results/report.h"

namespace lab {

namespace {

enum Interface : unsigned { kAir, kEvents, kCommands };

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, DeleteJson>;

// The machine's date and time at the run's beginning, by which captures are stamped.
std::uint64_t stamp(Time time) {
  static const auto began = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>((began + time).count());
}

const char* name_of(What what) {
  switch (what) {
    case What::frame:
      return "frame";
    case What::heard:
      return "heard";
    case What::command:
      return "command";
    case What::mode:
      return "mode";
    case What::nvram:
      return "nvram";
    case What::power:
      return "power";
    case What::daemon:
      return "daemon";
    case What::platform:
      return "platform";
    case What::scenario:
      return "scenario";
    case What::fault:
      break;
  }
  return "fault";
}

Json entry(Time time, const Node* node, const char* what) {
  Json json(cJSON_CreateObject());
  cJSON_AddNumberToObject(json.get(), "t", static_cast<double>(time.count() / 1000) / 1e6);
  cJSON_AddStringToObject(json.get(), "unit", node != nullptr ? node->name.c_str() : "lab");
  cJSON_AddStringToObject(json.get(), "what", what);
  return json;
}

void write_entry(Recorder& recorder, const Json& json) {
  char* text = cJSON_PrintUnformatted(json.get());
  if (text != nullptr) {
    fprintf(recorder.timeline.get(), "%s\n%s", recorder.first_entry ? "[" : ",", text);
    recorder.first_entry = false;
    cJSON_free(text);
  }
}

std::string ms_text(Time time) {
  char text[32];
  snprintf(text, sizeof text, "%.1f ms", seconds(time) * 1000);
  return text;
}

// What became of a frame, in words: the packet's comment in the capture.
std::string comment_of(const Transmission& sent) {
  std::string text = "from " + sent.from->name;
  if (sent.resent) {
    text += ", sent again";
  }
  for (const Reception& reception : sent.receptions) {
    const Fate& fate = reception.fate;
    text += "; " + reception.node->name + ": ";
    text += fate.lost ? "LOST" : "heard after " + ms_text(fate.delay);
    text += !fate.lost && fate.again ? " and again after " + ms_text(*fate.again) : "";
  }
  for (const Node* node : sent.elsewhere) {
    text += "; " + node->name + ": NOT HEARD, ";
    text += node->radio.on ? "it listens to channel " + std::to_string(listens_to(node->radio))
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

Json frame_entry(Lab& lab, const Transmission& sent, const std::vector<std::string>& lost) {
  Json json = entry(sent.time, sent.from, "frame");
  const Node* to = find_station(lab, sent.frame.to);
  cJSON_AddStringToObject(json.get(), "kind", name_of(sent.frame.kind));
  if (sent.operation != 0) {
    cJSON_AddNumberToObject(json.get(), "operation", sent.operation);
  }
  cJSON_AddStringToObject(json.get(), "to",
                          to != nullptr ? to->name.c_str() : text_of(sent.frame.to).c_str());
  cJSON_AddNumberToObject(json.get(), "channel", sent.channel);
  cJSON_AddNumberToObject(json.get(), "bytes", static_cast<double>(sent.bytes.size()));
  if (sent.resent) {
    cJSON_AddTrueToObject(json.get(), "resent");
  }
  add_names(json, "lost", lost);
  std::vector<std::string> heard;
  std::vector<std::string> elsewhere;
  for (const Reception& reception : sent.receptions) {
    if (!reception.fate.lost) {
      heard.push_back(reception.node->name);
    }
  }
  for (const Node* node : sent.elsewhere) {
    elsewhere.push_back(node->name);
  }
  add_names(json, "heard", heard);
  add_names(json, "not_heard", elsewhere);
  return json;
}

std::string kind_of(const Transmission& sent) {
  if (sent.from->kind == NodeKind::stranger) {
    return "from the stranger";
  }
  return sent.operation != 0 ? "operation " + std::to_string(sent.operation)
                             : name_of(sent.frame.kind);
}

// What is not there (a unit that was never switched on has no log) is passed over, and so is what
// the daemon has made something else than a file.
bool copy_evidence(Lab& lab) {
  static constexpr std::array<std::pair<const char*, const char*>, 4> kFiles{
      {{"tmp/vexo_nvram", ".nvram"},
       {"lab/log/vorlent_dbg.log", ".log"},
       {"lab/log/vorlent_dbg.log.1", ".log.1"},
       {"lab/stdout.log", ".stdout"}}};
  bool whole = true;
  for (const auto& node : lab.nodes) {
    for (const auto& [name, suffix] : kFiles) {
      const auto text = read_in_box(node->sandbox.folder, name);
      if (text) {
        whole = write_file(lab.recorder.folder + "/" + node->name + suffix, *text) && whole;
      } else if (errno != ENOENT) {
        publish(lab, {.what = What::fault,
                      .node = node.get(),
                      .text = std::string(name) + " is left out: " + strerror(errno)});
      }
    }
  }
  return whole;
}

std::string no_write(const Recorder& recorder, const char* file) {
  return recorder.folder + "/" + file + ": cannot be written: " + strerror(errno) +
         "; the results are not whole";
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

void record_transmission(Lab& lab, const Transmission& sent) {
  Recorder& recorder = lab.recorder;
  Bytes packet = radiotap(sent.channel);
  put(packet, sent.bytes);
  const std::string comment = comment_of(sent);
  recorder.air.packet(kAir, stamp(sent.time), packet, comment);
  std::vector<std::string> lost;
  for (const Reception& reception : sent.receptions) {
    if (reception.fate.lost) {
      lost.push_back(reception.node->name);
    }
  }
  write_entry(recorder, frame_entry(lab, sent, lost));
  auto& [count, count_lost] = recorder.kinds[kind_of(sent)];
  ++count;
  const bool missed =
      !sent.elsewhere.empty() || (!lost.empty() && lost.size() == sent.receptions.size());
  count_lost += missed ? 1 : 0;
  if (sent.operation != 0) {
    Node* to = find_station(lab, sent.frame.to);
    recorder.chart.push_back(
        {sent.time, sent.from, to, sent.operation, sent.resent, missed, comment});
    publish(lab, {.what = What::frame,
                  .node = sent.from,
                  .text = missed ? "lost" : "",
                  .peer = to,
                  .number = sent.operation,
                  .before = sent.resent ? 1 : 0,
                  .value = std::to_string(sent.frame.body.size())});
  }
}

void record_event(Lab& lab, const Node& node, View datagram) {
  lab.recorder.air.packet(kEvents, stamp(lab.loop.clock.now()), udp_packet(kEventPort, datagram),
                          "driver event for the daemon of " + node.name);
}

void record(Lab& lab, const Occurrence& seen) {
  if (seen.what == What::frame) {
    return;  // written with all its details when it was sent
  }
  Json json = entry(seen.time, seen.node, name_of(seen.what));
  if (!seen.text.empty()) {
    cJSON_AddStringToObject(json.get(), "text", seen.text.c_str());
  }
  if (seen.peer != nullptr) {
    cJSON_AddStringToObject(json.get(), "from", seen.peer->name.c_str());
  }
  if (seen.what == What::heard) {
    cJSON_AddNumberToObject(json.get(), "operation", seen.number);
  } else if (seen.what == What::mode) {
    cJSON_AddNumberToObject(json.get(), "mode", seen.number);
    cJSON_AddNumberToObject(json.get(), "before", seen.before);
    lab.recorder.modes.push_back({seen.time, seen.node, seen.number});
  } else if (seen.what == What::nvram) {
    cJSON_AddStringToObject(json.get(), "key", seen.key.c_str());
    cJSON_AddStringToObject(json.get(), "value", seen.value.c_str());
  } else if (seen.what == What::command) {
    cJSON_AddNumberToObject(json.get(), "status", seen.number);
    lab.recorder.air.packet(
        kCommands, stamp(seen.time), text_packet(seen.node->name + ": " + seen.text),
        seen.node->name + ": " + seen.text + " (exit status " + std::to_string(seen.number) + ")");
  }
  write_entry(lab.recorder, json);
}

std::string close_record(Lab& lab) {
  Recorder& recorder = lab.recorder;
  const bool copied = copy_evidence(lab);
  const int why = errno;
  fputs(recorder.first_entry ? "[]\n" : "\n]\n", recorder.timeline.get());
  const bool whole = fflush(recorder.timeline.get()) == 0 && ferror(recorder.timeline.get()) == 0;
  if (!recorder.air.close()) {
    return no_write(recorder, "air.pcapng");
  }
  if (!whole) {
    return no_write(recorder, "timeline.json");
  }
  if (!copied) {
    errno = why;
    return no_write(recorder, "UNIT.nvram and UNIT.log");
  }
  return write_report(lab) ? "" : no_write(recorder, "report.html");
}

}  // namespace lab
