#include "results/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "results/json.h"
#include "results/summary.h"

namespace lab {

namespace {

const char* mode_name(int mode) {
  switch (mode) {
    case 0:
      return "un-configured, searching";
    case 1:
      return "handshake";
    case 2:
      return "temporary router";
    case 3:
      return "temporary satellite";
    case 4:
      return "temporary Ethernet satellite";
    case 5:
      return "base";
    case 6:
      return "installed satellite";
    default:
      return "not running";
  }
}

// A step has to fit into the 80 columns of a terminal, and so have all words below.
const char* operation_words(int operation) {
  switch (operation) {
    case 1000:
      return "asks to join, shows its element";
    case 1001:
      return "gives its public key, in clear";
    case 1002:
      return "gives its own key, encrypted";
    case 1003:
      return "gives the credentials, encrypted";
    default:
      return "has its key: wait up to 15 minutes";
  }
}

std::string command_words(const Node& node, const std::string& command) {
  if (command.rfind("wl add_ie 16", 0) == 0) {
    return "looks for a mesh: its probe requests carry its element";
  }
  if (command.rfind("wl add_ie 3 ", 0) == 0) {
    return "opens its window: its beacons carry the element for 60 s";
  }
  if (command.rfind("wl del_ie 3 ", 0) == 0) {
    return "closes its window: the element is gone from the air";
  }
  if (command.rfind("wl csa", 0) == 0) {
    return "has found a base in its scan and moves to channel " +
           std::to_string(node.radio.channel);
  }
  if (command == "vexo_service restart") {
    return "has saved its NVRAM and asks for a restart of its services";
  }
  return {};
}

struct Teller {
  const Node& node;

  std::string operator()(const FrameSent& sent) const {
    const Transmission& frame = sent.frame;
    if (frame.operation == 0 || node.kind == NodeKind::stranger) {
      return {};  // the stranger's come by the hundred, and none is what it says
    }
    return " -> " + (sent.to != nullptr ? sent.to->name : "a stranger") + ": " +
           std::to_string(frame.operation) + ", " + operation_words(frame.operation) +
           (frame.resent ? " (again)" : "") + (sent.missed() ? " (LOST)" : "");
  }
  std::string operator()(const DriverTold& /*is no news*/) const { return {}; }
  std::string operator()(const Logged& /*is in the log*/) const { return {}; }
  std::string operator()(const Tuned& /*its command tells*/) const { return {}; }
  std::string operator()(const ModeEntered& entered) const {
    return std::string(": mode ") +
           (entered.mode == kOff ? "none, " : std::to_string(entered.mode) + ", ") +
           mode_name(entered.mode);
  }
  std::string operator()(const NvramSet& set) const {
    return set.key == "wl1_wpa_psk" ? ": NVRAM holds the backhaul's pass phrase" : "";
  }
  std::string operator()(const CommandRun& run) const {
    if (run.line.rfind("wl del_ie", 0) == 0 && run.status != 0) {
      return {};  // every mode's entry tidies up, whether there is something to tidy or not
    }
    const std::string words = command_words(node, run.line);
    return run.status != 0 ? ": \"" + run.line.substr(0, 60) +
                                 "\" failed: " + run.answer.substr(0, run.answer.find('\n'))
           : words.empty() ? ""
                           : ": " + words;
  }
  std::string operator()(const DaemonEnded& end) const {
    return (end.crashed ? ": FAULT: " : ": ") + words_of(end);
  }
  std::string operator()(const NvramTorn& torn) const { return ": FAULT: " + torn.what; }
  std::string operator()(const Fault& fault) const { return ": FAULT: " + fault.what; }
  std::string operator()(const DirectorActed& act) const { return ": [scenario] " + act.what; }
  template <typename Other>
  std::string operator()(const Other& other) const {
    return ": " + words_of(other);
  }
};

std::string seconds_text(Time time) {
  char text[32];
  snprintf(text, sizeof text, "%.2f s", seconds(time));
  return time < Time{} ? "-" : text;
}

std::string since(Time from, Time to) {
  return to < Time{} ? "-" : seconds_text(to - from);
}

// All but the stranger, of whom nothing is expected.
std::vector<const Node*> members(const Mesh& mesh) {
  std::vector<const Node*> all;
  for (const auto& node : mesh.nodes) {
    if (node->kind != NodeKind::stranger) {
      all.push_back(node.get());
    }
  }
  return all;
}

void print_table(const Story& story) {
  const auto outcome = [&](const Node* node) {
    return outcome_of(story.mesh, *node, journey_of(story.journeys, *node));
  };
  std::size_t longest = 7;
  for (const Node* node : members(story.mesh)) {
    longest = std::max(longest, outcome(node).size());
  }
  const int width = static_cast<int>(longest);
  printf("\n%-8s %-*s %11s %9s %6s %6s %4s\n", "unit", width, "outcome", "credentials", "installed",
         "frames", "resent", "MiB");
  for (const Node* node : members(story.mesh)) {
    const Journey journey = journey_of(story.journeys, *node);
    printf("%-8s %-*s %11s %9s %6d %6d %4.1f\n", node->name.c_str(), width, outcome(node).c_str(),
           since(journey.powered, journey.credentials).c_str(),
           since(journey.powered, journey.installed).c_str(), journey.frames, journey.resent,
           static_cast<double>(node->sandbox.peak_kib) / 1024);
  }
  printf("(times from power-on; frames of the handshake; the daemon's memory at most)\n\n");
}

void print_verdicts(const Story& story) {
  const auto verdicts = judge(story);
  const Time now = story.mesh.loop.clock.now();
  std::size_t held = 0;
  for (const Verdict& verdict : verdicts) {
    held += verdict.holds ? 1 : 0;
    if (!verdict.holds) {
      printf("NOT SO: %s\n", verdict.text.c_str());
    }
  }
  const bool ran_out = held < verdicts.size() && now > story.scenario.limit;
  printf("%zu of %zu expectations hold after %s%s.\n", held, verdicts.size(),
         seconds_text(now).c_str(), ran_out ? ", the scenario's limit" : "");
}

void print_json(const Story& story, bool as_expected) {
  const Json json(cJSON_CreateObject());
  cJSON_AddStringToObject(json.get(), "scenario", story.scenario.file.c_str());
  cJSON_AddNumberToObject(json.get(), "seed", static_cast<double>(story.scenario.air.seed));
  add_time(json.get(), "seconds", story.mesh.loop.clock.now());
  cJSON_AddBoolToObject(json.get(), "ended_as_expected", as_expected ? 1 : 0);
  add_keys(json.get(), story.mesh);
  add_units(json.get(), story);
  add_verdicts(json.get(), story);
  if (const auto share = reckoned_first_handshakes(story.scenario)) {
    cJSON_AddNumberToObject(json.get(), "reckoned_first_handshakes", *share);
  }
  puts(text_of(json).c_str());
}

Terminal terminal() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {};
  }
  return {size.ws_col, size.ws_row};
}

std::string live_line(const Node& node, const Journey& journey, Time now, bool wide) {
  const int mode = node.platform.mode;
  char text[160];
  if (wide) {
    char stage[40] = "";
    if (mode == 1) {
      snprintf(stage, sizeof stage, "sent %d, heard %d", journey.sent, journey.heard);
    }
    snprintf(text, sizeof text, "%8.1f  %-8s %-28s %-22s waits for %s", seconds(now),
             node.name.c_str(), mode_name(mode), stage, waits_for(node, journey).c_str());
  } else {
    snprintf(text, sizeof text, "%8.1f  %-8s %s, waits for %s", seconds(now), node.name.c_str(),
             mode_name(mode), waits_for(node, journey).c_str());
  }
  return text;
}

}  // namespace

void console_notices(const Console& console, const Happening& seen) {
  if (console.quiet || console.live) {
    return;
  }
  const std::string words = std::visit(Teller{seen.node}, seen.what);
  if (!words.empty()) {
    printf("%8.3f  %s%s\n", seconds(seen.time), seen.node.name.c_str(), words.c_str());
    fflush(stdout);
  }
}

std::vector<std::string> live_lines(const Story& story, const Terminal& size) {
  auto shown = members(story.mesh);
  const std::size_t all = shown.size();
  if (all + 1 > size.rows) {
    shown.erase(std::remove_if(shown.begin(), shown.end(),
                               [](const Node* node) { return node->platform.mode == 6; }),
                shown.end());
    shown.resize(std::min(shown.size(), std::max<std::size_t>(size.rows, 3) - 2));
  }
  std::vector<std::string> lines;
  for (const Node* node : shown) {
    const std::string line = live_line(*node, journey_of(story.journeys, *node),
                                       story.mesh.loop.clock.now(), size.columns >= 100);
    lines.push_back(line.substr(0, size.columns - 1));
  }
  if (shown.size() < all) {
    const auto in = std::count_if(story.mesh.nodes.begin(), story.mesh.nodes.end(),
                                  [](const auto& node) { return node->platform.mode == 6; });
    const std::string line = "and " + std::to_string(all - shown.size()) + " more; " +
                             std::to_string(in) + " units are in";
    lines.push_back(line.substr(0, size.columns - 1));
  }
  return lines;
}

void draw_live(Console& console, const Story& story) {
  if (!console.live) {
    return;
  }
  if (console.lines > 0) {
    printf("\033[%zuA", console.lines);
  }
  const auto lines = live_lines(story, terminal());
  for (const std::string& line : lines) {
    printf("\033[2K%s\n", line.c_str());
  }
  printf("\033[J");
  console.lines = lines.size();
  fflush(stdout);
}

void print_result(Console& console, const Story& story, int exit_status,
                  const std::string& folder) {
  if (console.quiet) {
    print_json(story, exit_status == 0);
    return;
  }
  draw_live(console, story);
  print_table(story);
  if (exit_status >= 128) {
    printf("Interrupted after %s; everything that was started has ended.\n",
           seconds_text(story.mesh.loop.clock.now()).c_str());
  } else {
    print_verdicts(story);
  }
  printf("Results in %s:\n  report.html, air.pcapng, timeline.json, each unit's .nvram and .log\n",
         folder.c_str());
}

}  // namespace lab
