#include "results/console.h"

#include <cjson/cJSON.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "lab.h"

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

std::string operation_words(int operation, const std::string& bytes) {
  switch (operation) {
    case 1000:
      return "asks to join and shows its element";
    case 1001:
      return "answers with its public key, in clear (" + bytes + " bytes)";
    case 1002:
      return "sends its own public key, encrypted for the base (" + bytes + " bytes)";
    case 1003:
      return "sends the backhaul credentials, encrypted for this unit alone (" + bytes + " bytes)";
    default:
      return "has the unit's key: wait up to 15 minutes for the credentials";
  }
}

std::string command_words(const Node& node, const std::string& command) {
  if (command.rfind("wl add_ie 16", 0) == 0) {
    return "carries its element in its probe requests from now on: a unit looks for a mesh";
  }
  if (command.rfind("wl add_ie 3 ", 0) == 0) {
    return "opens its window: beacons and probe responses carry the base's element for 60 s";
  }
  if (command.rfind("wl del_ie 3 ", 0) == 0) {
    return "closes its window: the base's element is gone from the air";
  }
  if (command.rfind("wl csa", 0) == 0) {
    return "has found a base's element in its scan and moves to channel " +
           std::to_string(node.radio.channel);
  }
  if (command == "vexo_service restart") {
    return "has saved its NVRAM and asks the platform to restart its services";
  }
  return {};
}

std::string words_of(const Occurrence& seen) {
  const std::string name = seen.node != nullptr ? seen.node->name : "lab";
  const std::string peer = seen.peer != nullptr ? seen.peer->name : "a stranger";
  switch (seen.what) {
    case What::frame:
      if (seen.node != nullptr && seen.node->kind == NodeKind::stranger) {
        return {};  // hundreds a second, none of which is what it says
      }
      return name + " -> " + peer + ": " + std::to_string(seen.number) + ", " +
             operation_words(seen.number, seen.value) + (seen.before != 0 ? " (sent again)" : "") +
             (seen.text.empty() ? "" : " (LOST)");
    case What::mode:
      return name + ": mode " +
             (seen.number == kOff ? "none, " : std::to_string(seen.number) + ", ") +
             mode_name(seen.number);
    case What::nvram:
      return seen.key == "wl1_wpa_psk" ? name + ": NVRAM holds the backhaul's pass phrase" : "";
    case What::command: {
      if (seen.text.rfind("wl del_ie", 0) == 0 && seen.number != 0) {
        return {};  // every mode's entry tidies up, whether there is something to tidy or not
      }
      const std::string words = command_words(*seen.node, seen.text);
      return seen.number != 0 ? name + ": \"" + seen.text.substr(0, 60) +
                                    "\" failed: " + seen.value.substr(0, seen.value.find('\n'))
             : words.empty() ? ""
                             : name + ": " + words;
    }
    case What::fault:
      return name + ": FAULT: " + seen.text;
    case What::scenario:
      return name + ": [scenario] " + seen.text;
    case What::heard:
      return {};
    default:
      return name + ": " + seen.text;
  }
}

std::string seconds_text(Time time) {
  char text[32];
  snprintf(text, sizeof text, "%.2f s", seconds(time));
  return time < Time{} ? "-" : text;
}

std::string since(Time from, Time to) {
  return to < Time{} ? "-" : seconds_text(to - from);
}

// All but the stranger, of whom nothing is expected.
std::vector<const Node*> members(const Lab& lab) {
  std::vector<const Node*> all;
  for (const auto& node : lab.nodes) {
    if (node->kind != NodeKind::stranger) {
      all.push_back(node.get());
    }
  }
  return all;
}

void print_table(Lab& lab) {
  std::size_t longest = 7;
  for (const Node* node : members(lab)) {
    longest = std::max(longest, outcome_of(lab, *node).size());
  }
  const int width = static_cast<int>(longest);
  printf("\n%-8s %-*s %11s %10s %7s %7s %9s\n", "unit", width, "outcome", "credentials",
         "installed", "frames", "resent", "memory");
  for (const Node* node : members(lab)) {
    const Journey& journey = node->journey;
    printf("%-8s %-*s %11s %10s %7d %7d %5.1f MiB\n", node->name.c_str(), width,
           outcome_of(lab, *node).c_str(), since(journey.powered, journey.credentials).c_str(),
           since(journey.powered, journey.installed).c_str(), journey.frames, journey.resent,
           static_cast<double>(node->sandbox.peak_kib) / 1024);
  }
  printf("(times count from power-on; frames are those of the handshake)\n\n");
}

void print_verdicts(Lab& lab) {
  const auto verdicts = judge(lab);
  std::size_t held = 0;
  for (const Verdict& verdict : verdicts) {
    held += verdict.holds ? 1 : 0;
    if (!verdict.holds) {
      printf("NOT SO: %s\n", verdict.text.c_str());
    }
  }
  const bool ran_out = held < verdicts.size() && lab.loop.clock.now() > lab.scenario.limit;
  printf("%zu of %zu expectations hold after %s%s.\n", held, verdicts.size(),
         seconds_text(lab.loop.clock.now()).c_str(), ran_out ? ", the scenario's limit" : "");
}

void print_json(Lab& lab) {
  const std::unique_ptr<cJSON, void (*)(cJSON*)> json(cJSON_CreateObject(), cJSON_Delete);
  cJSON_AddStringToObject(json.get(), "scenario", lab.scenario.file.c_str());
  cJSON_AddNumberToObject(json.get(), "seed", static_cast<double>(lab.air.seed));
  cJSON_AddNumberToObject(json.get(), "seconds", seconds(lab.loop.clock.now()));
  cJSON_AddBoolToObject(json.get(), "ended_as_expected", lab.exit_status == 0 ? 1 : 0);
  cJSON* units = cJSON_AddArrayToObject(json.get(), "units");
  for (const Node* node : members(lab)) {
    const Journey& journey = node->journey;
    cJSON* unit = cJSON_CreateObject();
    cJSON_AddItemToArray(units, unit);
    cJSON_AddStringToObject(unit, "unit", node->name.c_str());
    cJSON_AddStringToObject(unit, "outcome", outcome_of(lab, *node).c_str());
    cJSON_AddNumberToObject(unit, "mode", node->platform.mode);
    if (journey.credentials >= Time{}) {
      cJSON_AddNumberToObject(unit, "credentials", seconds(journey.credentials - journey.powered));
    }
    if (journey.installed >= Time{}) {
      cJSON_AddNumberToObject(unit, "installed", seconds(journey.installed - journey.powered));
    }
    constexpr std::array<const char*, 5> FIRST = {"none", "running", "completed", "failed",
                                                  "spoiled"};
    cJSON_AddStringToObject(unit, "first_handshake",
                            FIRST[static_cast<std::size_t>(journey.first_handshake)]);
    cJSON_AddNumberToObject(unit, "gave_up", journey.gave_up);
    cJSON_AddNumberToObject(unit, "frames", journey.frames);
    cJSON_AddNumberToObject(unit, "resent", journey.resent);
    cJSON_AddNumberToObject(unit, "peak_kib", static_cast<double>(node->sandbox.peak_kib));
  }
  cJSON* list = cJSON_AddArrayToObject(json.get(), "expectations");
  for (const Verdict& verdict : judge(lab)) {
    cJSON* item = cJSON_CreateObject();
    cJSON_AddItemToArray(list, item);
    cJSON_AddBoolToObject(item, "holds", verdict.holds ? 1 : 0);
    cJSON_AddStringToObject(item, "text", verdict.text.c_str());
  }
  char* text = cJSON_Print(json.get());
  puts(text != nullptr ? text : "{}");
  cJSON_free(text);
}

Terminal terminal() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {};
  }
  return {size.ws_col, size.ws_row};
}

std::string live_line(const Node& node, Time now, bool wide) {
  const Journey& journey = node.journey;
  const int mode = node.platform.mode;
  char text[160];
  if (wide) {
    char stage[40] = "";
    if (mode == 1) {
      snprintf(stage, sizeof stage, "sent %d, heard %d", journey.sent, journey.heard);
    }
    snprintf(text, sizeof text, "%8.1f  %-8s %-28s %-22s waits for %s", seconds(now),
             node.name.c_str(), mode_name(mode), stage, waits_for(node).c_str());
  } else {
    snprintf(text, sizeof text, "%-8s %s, waits for %s", node.name.c_str(),
             mode == kOff ? "off" : ("mode " + std::to_string(mode)).c_str(),
             waits_for(node).c_str());
  }
  return text;
}

}  // namespace

void console_notices(Lab& lab, const Occurrence& seen) {
  if (lab.console.quiet || lab.console.live) {
    return;
  }
  const std::string words = words_of(seen);
  if (!words.empty()) {
    printf("%8.3f  %s\n", seconds(seen.time), words.c_str());
    fflush(stdout);
  }
}

std::string waits_for(const Node& node) {
  const Journey& journey = node.journey;
  switch (node.platform.mode) {
    case 0:
      return "a base's element in its scans";
    case 1:
      return journey.heard == 1004  ? "1003, the credentials"
             : journey.sent == 1002 ? "1004, after its key"
                                    : "1001, the base's key";
    case 3:
      return "its backhaul and the end of the installation";
    case 5:
      return "units";
    case 6:
      return "nothing more";
    default:
      return is_powered(node) ? "the daemon's start" : "power";
  }
}

std::string outcome_of(Lab& lab, const Node& node) {
  const int mode = node.platform.mode;
  if (mode == 6) {
    for (const Node* base : all_of(lab, NodeKind::base)) {
      if (has_credentials_of(node, *base)) {
        return "installed in the mesh of " + base->name;
      }
    }
    return "installed, with nobody's credentials";
  }
  if (mode == kOff) {
    return is_powered(node) ? "daemon not running" : "switched off";
  }
  return node.kind == NodeKind::base
             ? "base"
             : "mode " + std::to_string(mode) + ", waits for " + waits_for(node);
}

std::vector<std::string> live_lines(const Lab& lab, const Terminal& size) {
  auto shown = members(lab);
  const std::size_t all = shown.size();
  if (all + 1 > size.rows) {
    shown.erase(std::remove_if(shown.begin(), shown.end(),
                               [](const Node* node) { return node->platform.mode == 6; }),
                shown.end());
    shown.resize(std::min(shown.size(), std::max<std::size_t>(size.rows, 3) - 2));
  }
  std::vector<std::string> lines;
  for (const Node* node : shown) {
    const std::string line = live_line(*node, lab.loop.clock.now(), size.columns >= 100);
    lines.push_back(line.substr(0, size.columns - 1));
  }
  if (shown.size() < all) {
    const auto in = std::count_if(lab.nodes.begin(), lab.nodes.end(),
                                  [](const auto& node) { return node->platform.mode == 6; });
    const std::string line = "and " + std::to_string(all - shown.size()) + " more; " +
                             std::to_string(in) + " units are in";
    lines.push_back(line.substr(0, size.columns - 1));
  }
  return lines;
}

void draw_live(Lab& lab) {
  if (!lab.console.live) {
    return;
  }
  if (lab.console.lines > 0) {
    printf("\033[%zuA", lab.console.lines);
  }
  const auto lines = live_lines(lab, terminal());
  for (const std::string& line : lines) {
    printf("\033[2K%s\n", line.c_str());
  }
  printf("\033[J");
  lab.console.lines = lines.size();
  fflush(stdout);
}

void print_result(Lab& lab, bool as_json) {
  if (as_json) {
    print_json(lab);
    return;
  }
  draw_live(lab);
  print_table(lab);
  if (lab.exit_status >= 128) {
    printf("Interrupted after %s; everything that was started has ended.\n",
           seconds_text(lab.loop.clock.now()).c_str());
  } else {
    print_verdicts(lab);
  }
  const std::string& folder = lab.recorder.folder;
  printf("Results: %s/air.pcapng, timeline.json, report.html and each unit's .nvram and .log\n",
         folder.c_str());
}

}  // namespace lab
