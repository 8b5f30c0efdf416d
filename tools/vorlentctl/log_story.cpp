#include "log_story.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "address.h"
#include "own_text.h"

namespace ctl {

namespace {

constexpr std::size_t kAddress = 17;

Station* find(Story& story, const std::string& address) {
  const auto found = std::find_if(story.stations.begin(), story.stations.end(),
                                  [&](const Station& it) { return it.address == address; });
  return found == story.stations.end() ? nullptr : &*found;
}

void asks(Story& story, const std::string& address) {
  if (find(story, address) == nullptr) {
    story.stations.push_back({address, 0});
  }
}

template <int stage>
void reaches(Story& story, const std::string& address) {
  if (Station* station = find(story, address)) {
    station->stage = stage;
  }
}

void leaves(Story& story, const std::string& address) {
  const auto gone = [&](const Station& it) { return it.address == address; };
  story.stations.erase(std::remove_if(story.stations.begin(), story.stations.end(), gone),
                       story.stations.end());
}

// A message by the function that speaks it and its text up to the station's address.
struct Told {
  std::string_view function;
  std::string_view text;
  void (*happened)(Story& story, const std::string& address);
};

constexpr Told kTold[] = {
    {"[dump_current_support_list]", "STA: ", asks},
    {"[parse_act_frame]", "Got action frame with attr_id:1000 from STA: ", reaches<1>},
    {"[act_op_1001_sender]", "cmd: wl actframe ", reaches<2>},
    {"[act_op_1004_sender]", "cmd: wl actframe ", reaches<5>},
    {"[delete_node_from_candidate_table]", "Remove sta ", leaves}};

int leading_number(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

bool starts_with(std::string_view text, std::string_view head) {
  return text.substr(0, head.size()) == head;
}

// "[function][line]text": takes the function with its brackets off the line, and the line's number.
std::string_view take_function(std::string_view& line) {
  const std::size_t end = line.find(']');
  const std::size_t text = end == line.npos ? end : line.find(']', end + 1);
  if (!starts_with(line, "[") || text == line.npos) {
    return {};
  }
  const std::string_view function = line.substr(0, end + 1);
  line.remove_prefix(text + 1);
  return function;
}

void read_line(Story& story, std::string_view line) {
  const std::string_view function = take_function(line);
  if (function == "[open_eventfd]" && starts_with(line, "opened loopback socket")) {
    story = {};
  } else if (function == "[sig_handler]" && starts_with(line, "Got SIGUSR1")) {
    story.stations.clear();
  } else if (function == "[act_op_tracker]") {
    story.sent = starts_with(line, "send: ") ? leading_number(line.substr(6)) : 0;
  }
  for (const Told& told : kTold) {
    if (function == told.function && starts_with(line, told.text)) {
      const std::string address = as_address(line.substr(told.text.size(), kAddress));
      if (!address.empty()) {
        told.happened(story, address);
      }
    }
  }
}

}  // namespace

Story read_story(std::string_view log) {
  Story story;
  while (!log.empty()) {
    const std::string_view line = log.substr(0, log.find('\n'));
    read_line(story, line);
    log.remove_prefix(std::min(log.size(), line.size() + 1));
  }
  return story;
}

std::string read_log() {
  const char* folder = getenv("VEXO_LOG_DIR");
  const bool named = folder != nullptr && *folder != '\0';
  const std::string path = std::string(named ? folder : "/tmp") + "/vorlent_dbg.log";
  return read_own(path + ".1") + read_own(path);
}

}  // namespace ctl
