#include "node/frame_verdict.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "node/file_watch.h"
#include "node/mesh.h"

namespace lab {

namespace {

constexpr Time kPatience = 2s;  // of the machine's time: longer than a daemon makes a key pair

bool serves_handshakes(int mode) {
  return mode == kOff || mode == 1 || mode == 2 || mode == 5;  // kOff: not known yet
}

void judge(Mesh& mesh, Node& node, WaitingFrame& frame, const std::string& why) {
  if (!std::exchange(frame.judged, true)) {
    publish(mesh, node, Unserved{frame.from, frame.operation, frame.number, why});
  }
}

std::string in_this_mode(const Node& node) {
  return "its daemon serves no handshake in mode " + std::to_string(node.platform.mode);
}

// A daemon logs nothing of a frame that its mode does not take.
void look_again(Mesh& mesh, Node& node, std::uint64_t number) {
  auto& waiting = node.frame_verdicts.waiting;
  const auto frame = std::find_if(waiting.begin(), waiting.end(),
                                  [&](const auto& each) { return each.number == number; });
  if (frame != waiting.end() && !serves_handshakes(node.platform.mode)) {
    judge(mesh, node, *frame, in_this_mode(node));
    waiting.erase(frame);
  }
}

WaitingFrame waiting_frame(const DriverTold& told) {
  constexpr std::size_t kPeer = 64;
  constexpr std::size_t kData = 88;
  constexpr std::size_t kAttrId = kData + 5;
  WaitingFrame frame{told.from, told.operation, told.frame, told.operation == 0};
  Mac peer{};
  const View named = slice(told.datagram, kPeer, peer.size());
  std::copy(named.begin(), named.end(), peer.begin());
  frame.station = text_of(peer);
  frame.attr_id = be16(told.datagram, kAttrId).value_or(0);
  frame.size = slice(told.datagram, kData).size();
  return frame;
}

void take(Mesh& mesh, Node& node, const DriverTold& told) {
  WaitingFrame frame = waiting_frame(told);
  if (!node.sandbox.daemon_runs) {
    judge(mesh, node, frame, "no daemon runs there");
  } else if (!serves_handshakes(node.platform.mode)) {
    judge(mesh, node, frame, in_this_mode(node));
  } else {
    if (node.sandbox.frozen) {
      judge(mesh, node, frame, "its daemon stands still");
    }
    node.frame_verdicts.waiting.push_back(frame);
    mesh.loop.after_real(kPatience,
                         [&mesh, &node, number = frame.number] { look_again(mesh, node, number); });
  }
}

std::string_view last_word(std::string_view text) {
  return text.substr(text.rfind(' ') + 1);
}

unsigned number_in(std::string_view text, int base) {
  unsigned number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

// The daemon works on the first frame that is so; what came before it and is not in the log was
// passed over.
template <typename IsSo>
void begin(Mesh& mesh, Node& node, IsSo is_so) {
  auto& waiting = node.frame_verdicts.waiting;
  const auto frame = std::find_if(waiting.begin(), waiting.end(), is_so);
  node.frame_verdicts.current.reset();
  if (frame == waiting.end()) {
    return;  // told before this was looked at
  }
  node.frame_verdicts.current = *frame;
  std::for_each(waiting.begin(), frame, [&](WaitingFrame& passed) {
    judge(mesh, node, passed, "its daemon took no notice of it");
  });
  waiting.erase(waiting.begin(), frame + 1);
}

// "1000 from STA: 02:a7:00:00:00:01"
void begin_taken(Mesh& mesh, Node& node, std::string_view text) {
  begin(mesh, node, [&](const WaitingFrame& each) {
    return each.attr_id == number_in(text, 16) && each.station == last_word(text);
  });
}

// "9 bytes from STA: 02:a7:00:00:00:01: data cut off or too large"
void begin_dropped(Mesh& mesh, Node& node, std::string_view text) {
  constexpr std::string_view kFrom = "STA: ";
  constexpr std::size_t kStation = 17;
  const std::size_t station = text.find(kFrom);
  begin(mesh, node, [&](const WaitingFrame& each) {
    return each.size == number_in(text, 10) && station != text.npos &&
           text.substr(station + kFrom.size(), kStation) == each.station;
  });
  if (node.frame_verdicts.current) {
    judge(mesh, node, *node.frame_verdicts.current,
          "the daemon drops it: it is cut off or too large");
  }
}

bool begins_with(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

// Why the daemon leaves the frame alone that it works on, if this message says so.
std::string why_refused(const FrameVerdicts& verdicts, std::string_view text) {
  if (begins_with(text, "Cannot find the client (")) {
    const char* const more = verdicts.table_full ? ", which is full"
                             : verdicts.was_full ? ", which was full before the last push"
                                                 : "";
    return std::string("it has no row in the base's table") + more;
  }
  if (begins_with(text, "Unsupport attr_id:")) {
    return "the daemon does not serve this operation in its mode";
  }
  if (begins_with(text, "Invalid ie.")) {
    return "the daemon refuses the element in it";
  }
  return begins_with(text, "drop operation ") ? "the daemon drops it: its content is of no use"
                                              : "";
}

// Behind "[operation][line]".
std::string_view message_of(std::string_view line) {
  const std::size_t middle = line.find("][");
  const std::size_t end = middle == line.npos ? line.npos : line.find(']', middle + 2);
  return end == line.npos ? std::string_view() : line.substr(end + 1);
}

void learn_from(Mesh& mesh, Node& node, const std::string& line) {
  constexpr std::string_view kTaken = "Got action frame with attr_id:";
  constexpr std::string_view kDropped = "drop action frame of ";
  FrameVerdicts& verdicts = node.frame_verdicts;
  const std::string_view text = message_of(line);
  if (begins_with(text, kTaken)) {
    begin_taken(mesh, node, text.substr(kTaken.size()));
  } else if (begins_with(text, kDropped)) {
    begin_dropped(mesh, node, text.substr(kDropped.size()));
  } else if (begins_with(text, "Over MAX support clients!!")) {
    if (!std::exchange(verdicts.table_full, true)) {
      publish(mesh, node, TableFull{});
    }
  } else if (begins_with(text, "Got SIGUSR1")) {
    verdicts.was_full = std::exchange(verdicts.table_full, false);  // the push empties it
  } else if (const std::string why = why_refused(verdicts, text);
             verdicts.current && !why.empty()) {
    judge(mesh, node, *verdicts.current, why);
  }
}

void forget(Mesh& mesh, Node& node) {
  for (WaitingFrame& frame : node.frame_verdicts.waiting) {
    judge(mesh, node, frame, "its daemon ended first");
  }
  node.frame_verdicts = {};
}

}  // namespace

void frame_verdict_notices(Mesh& mesh, const Happening& seen) {
  Node& node = seen.node;
  if (const auto* told = seen.as<DriverTold>(); told != nullptr && told->from != nullptr) {
    take(mesh, node, *told);
  } else if (const auto* logged = seen.as<Logged>(); logged != nullptr) {
    learn_from(mesh, node, logged->line);
  } else if (const auto* power = seen.as<PowerSwitched>();
             seen.as<DaemonEnded>() != nullptr || (power != nullptr && !power->on)) {
    read_log(mesh, node);  // what it served is told before
    forget(mesh, node);
  }
}

}  // namespace lab
