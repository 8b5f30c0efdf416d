#include "story/director.h"

#include <signal.h>

#include <algorithm>
#include <cstdlib>

#include "base/box_files.h"
#include "lab.h"
#include "node/stranger.h"
#include "story/words.h"

namespace lab {

namespace {

std::vector<Node*> who_is(Lab& lab, const std::string& who, Node* it) {
  if (who == "it") {
    return {it};
  }
  if (who == "units") {
    return all_of(lab, NodeKind::unit);
  }
  if (who == "bases") {
    return all_of(lab, NodeKind::base);
  }
  Node* node = find_node(lab, who);
  return node != nullptr ? std::vector<Node*>{node} : std::vector<Node*>{};
}

bool is_one_of(Lab& lab, const std::string& who, Node* node) {
  const auto all = who_is(lab, who, nullptr);
  return std::find(all.begin(), all.end(), node) != all.end();
}

// Between a power cut and the next start lie as many laboratory seconds as the scenario says.
void power_cycle(Lab& lab, Node& node, Time off) {
  power_off(lab, node,
            [&lab, &node, off] { lab.loop.after(off, [&lab, &node] { power_on(lab, node); }); });
}

void kill_daemon(Node& node) {
  node.platform.end_expected = true;
  signal_daemon(node, SIGKILL);
}

void change_setting(Lab& lab, Node& node, const std::string& setting) {
  const std::size_t equals = setting.find('=');
  set_nvram(lab, node, setting.substr(0, equals), setting.substr(equals + 1));
}

void act(Lab& lab, Node& node, const Step& step) {
  const std::string& action = step.action;
  const std::string& argument = step.argument;
  if (action == "power-on") {
    power_on(lab, node);
  } else if (action == "power-cut") {
    power_off(lab, node);
  } else if (action == "power-cycle") {
    power_cycle(lab, node, parse_time(argument).value_or(0s));
  } else if (action == "kill") {
    kill_daemon(node);
  } else if (action == "freeze") {
    signal_daemon(node, SIGSTOP);
  } else if (action == "thaw") {
    signal_daemon(node, SIGCONT);
  } else if (action == "mute" || action == "unmute") {
    node.radio.muted = action == "mute";
  } else if (action == "signal") {
    signal_daemon(node, argument == "USR1" ? SIGUSR1 : SIGUSR2);
  } else if (action == "nvram") {
    change_setting(lab, node, argument);
  } else if (action == "window") {
    request_window(lab, node);
  } else if (action == "push") {
    push(lab, node);
  } else if (action == "hold" || action == "resume") {
    node.owner.automatic = action == "resume";
  } else if (action == "flood") {
    start_flood(lab, node, atoi(argument.c_str()));
  } else if (action == "restart") {
    request_restart(lab, node);
  }
}

void carry_out(Lab& lab, std::size_t index, Node* it) {
  const Step& step = lab.scenario.steps[index];
  lab.director.done[index] = true;
  if (step.who == "lab") {
    lab.scenario.time_lapse = std::max(1, atoi(step.argument.c_str()));
    lab.loop.clock.set_rate(lab.scenario.time_lapse);
    return;
  }
  for (Node* node : who_is(lab, step.who, it)) {
    const std::string what = step.action + (step.argument.empty() ? "" : " " + step.argument);
    if (step.action.rfind("power", 0) != 0) {
      publish(lab, {.what = What::scenario, .node = node, .text = what});
    }
    act(lab, *node, step);
  }
}

bool meets(Lab& lab, const Trigger& trigger, const Occurrence& seen) {
  switch (trigger.kind) {
    case TriggerKind::sends:
      return seen.what == What::frame && seen.number == trigger.number &&
             is_one_of(lab, trigger.who, seen.node);
    case TriggerKind::hears:
      return seen.what == What::heard && seen.number == trigger.number &&
             is_one_of(lab, trigger.who, seen.node);
    case TriggerKind::mode:
      return seen.what == What::mode && seen.number == trigger.number &&
             is_one_of(lab, trigger.who, seen.node);
    case TriggerKind::nvram:
      return seen.what == What::nvram && seen.key == trigger.key && seen.value == trigger.value &&
             is_one_of(lab, trigger.who, seen.node);
    case TriggerKind::at:
      break;
  }
  return false;
}

std::string read_log(const Node& node) {
  const std::string& box = node.sandbox.folder;
  const std::string log = "lab/log/vorlent_dbg.log";
  return read_in_box(box, log + ".1").value_or("") + read_in_box(box, log).value_or("");
}

Verdict judge_credentials(Lab& lab, const Node& node, const std::string& wanted) {
  std::vector<std::string> held;
  for (const Node* base : all_of(lab, NodeKind::base)) {
    if (has_credentials_of(node, *base)) {
      held.push_back(base->name);
    }
  }
  const bool one = held.size() == 1 && (wanted == "one-base" || held.front() == wanted);
  return {one, false,
          node.name + " holds the credentials of " +
              (wanted == "one-base" ? "exactly one base" : wanted) +
              (one            ? ""
               : held.empty() ? ": it holds none"
                              : ": it holds those of " + held.front())};
}

Verdict judge_node(Lab& lab, const Node& node, const Expectation& expected) {
  const std::string number = std::to_string(expected.number);
  switch (expected.kind) {
    case ExpectationKind::mode: {
      const bool holds = node.platform.mode == expected.number;
      return {holds, false,
              node.name + " ends in mode " + number + (holds ? "" : ": " + outcome_of(lab, node))};
    }
    case ExpectationKind::credentials:
      return judge_credentials(lab, node, expected.text);
    case ExpectationKind::gave_up: {
      const bool holds = node.journey.gave_up >= expected.number;
      return {holds, false,
              node.name + " gives up and searches again at least " + number + " times" +
                  (holds ? "" : ": " + std::to_string(node.journey.gave_up) + " times")};
    }
    default: {
      const bool holds = read_log(node).find(expected.text) != std::string::npos;
      return {holds, false,
              node.name + " logs \"" + expected.text + "\"" + (holds ? "" : ": it did not")};
    }
  }
}

Verdict judge_first_handshakes(Lab& lab, int percent) {
  int begun = 0;
  int completed = 0;
  bool decided = true;
  for (const Node* unit : all_of(lab, NodeKind::unit)) {
    const auto first = unit->journey.first_handshake;
    begun += first == Journey::First::completed || first == Journey::First::failed ? 1 : 0;
    completed += first == Journey::First::completed ? 1 : 0;
    decided = decided && first != Journey::First::none && first != Journey::First::running;
  }
  return {decided && begun > 0 && completed * 100 >= begun * percent, decided,
          "at least " + std::to_string(percent) + " % of the first handshakes reach 1004: " +
              std::to_string(completed) + " of " + std::to_string(begun)};
}

void judge_health(Lab& lab, std::vector<Verdict>& verdicts) {
  int crashes = 0;
  int torn = 0;
  for (const auto& node : lab.nodes) {
    crashes += node->journey.crashes;
    torn += node->journey.torn;
  }
  verdicts.push_back({crashes == 0, crashes != 0,
                      crashes == 0 ? "no daemon crashes"
                                   : "no daemon crashes: " + std::to_string(crashes) + " did"});
  verdicts.push_back({torn == 0, torn != 0,
                      torn == 0 ? "no NVRAM file is ever torn"
                                : "no NVRAM file is ever torn: " + std::to_string(torn) + " were"});
}

bool switches_on(const Lab& lab, const Node& node) {
  return std::any_of(lab.scenario.steps.begin(), lab.scenario.steps.end(), [&](const Step& step) {
    const bool named = step.who == node.name ||
                       (step.who == "units" && node.kind == NodeKind::unit) ||
                       (step.who == "bases" && node.kind == NodeKind::base);
    return named && step.action == "power-on" && step.trigger.kind == TriggerKind::at;
  });
}

}  // namespace

void start_director(Lab& lab) {
  lab.director.counts.resize(lab.scenario.steps.size());
  lab.director.done.resize(lab.scenario.steps.size(), false);
  for (const auto& node : lab.nodes) {
    if (!switches_on(lab, *node)) {
      const Time when = node->kind == NodeKind::base ? 0s : 1500ms;
      lab.loop.at(when, [&lab, node = node.get()] { power_on(lab, *node); });
    }
  }
  for (std::size_t i = 0; i < lab.scenario.steps.size(); ++i) {
    const Trigger& trigger = lab.scenario.steps[i].trigger;
    if (trigger.kind == TriggerKind::at) {
      lab.loop.at(trigger.after, [&lab, i] { carry_out(lab, i, nullptr); });
    }
  }
}

void director_notices(Lab& lab, const Occurrence& seen) {
  for (std::size_t i = 0; i < lab.scenario.steps.size(); ++i) {
    const Trigger& trigger = lab.scenario.steps[i].trigger;
    // With `units` each unit has a condition of its own, otherwise the step happens once.
    if (trigger.kind == TriggerKind::at || !meets(lab, trigger, seen) ||
        ++lab.director.counts[i][seen.node] != trigger.times) {
      continue;
    }
    if (trigger.after > 0s) {
      lab.loop.after(trigger.after, [&lab, i, it = seen.node] { carry_out(lab, i, it); });
    } else {
      carry_out(lab, i, seen.node);
    }
  }
}

std::vector<Verdict> judge(Lab& lab) {
  std::vector<Verdict> verdicts;
  for (const Expectation& expected : lab.scenario.expectations) {
    if (expected.kind == ExpectationKind::first_handshakes) {
      verdicts.push_back(judge_first_handshakes(lab, expected.number));
      continue;
    }
    for (const Node* node : who_is(lab, expected.who, nullptr)) {
      verdicts.push_back(judge_node(lab, *node, expected));
    }
  }
  for (std::size_t i = 0; i < lab.scenario.steps.size(); ++i) {
    if (!lab.director.done[i]) {
      verdicts.push_back({false, false,
                          "the step of line " + std::to_string(lab.scenario.steps[i].line) +
                              " happens: it did not"});
    }
  }
  judge_health(lab, verdicts);
  return verdicts;
}

}  // namespace lab
