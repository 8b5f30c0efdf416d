#include "story/judge.h"

#include "base/box_files.h"

namespace lab {

namespace {

std::string read_log(const Node& node) {
  const std::string& box = node.sandbox.folder;
  const std::string log = "lab/log/vorlent_dbg.log";
  return read_in_box(box, log + ".1").value_or("") + read_in_box(box, log).value_or("");
}

Verdict judge_credentials(const Story& story, const Node& node, const std::string& wanted) {
  std::vector<std::string> held;
  for (const Node* base : all_of(story.mesh, NodeKind::base)) {
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

Verdict judge_node(const Story& story, const Node& node, const Expectation& expected) {
  const Journey journey = journey_of(story.journeys, node);
  const std::string number = std::to_string(expected.number);
  switch (expected.kind) {
    case ExpectationKind::mode: {
      const bool holds = node.platform.mode == expected.number;
      return {holds, false,
              node.name + " ends in mode " + number +
                  (holds ? "" : ": " + outcome_of(story.mesh, node, journey))};
    }
    case ExpectationKind::credentials:
      return judge_credentials(story, node, expected.text);
    case ExpectationKind::gave_up: {
      const bool holds = journey.gave_up >= expected.number;
      return {holds, false,
              node.name + " gives up and searches again at least " + number + " times" +
                  (holds ? "" : ": " + std::to_string(journey.gave_up) + " times")};
    }
    default: {
      const bool holds = read_log(node).find(expected.text) != std::string::npos;
      return {holds, false,
              node.name + " logs \"" + expected.text + "\"" + (holds ? "" : ": it did not")};
    }
  }
}

Verdict judge_first_handshakes(const Story& story, int percent) {
  int begun = 0;
  int completed = 0;
  bool decided = true;
  for (const Node* unit : all_of(story.mesh, NodeKind::unit)) {
    const auto first = journey_of(story.journeys, *unit).first_handshake;
    begun += first == Journey::First::completed || first == Journey::First::failed ? 1 : 0;
    completed += first == Journey::First::completed ? 1 : 0;
    decided = decided && first != Journey::First::none && first != Journey::First::running;
  }
  return {decided && begun > 0 && completed * 100 >= begun * percent, decided,
          "at least " + std::to_string(percent) + " % of the first handshakes reach 1004: " +
              std::to_string(completed) + " of " + std::to_string(begun)};
}

void judge_health(const Story& story, std::vector<Verdict>& verdicts) {
  int crashes = 0;
  int torn = 0;
  for (const auto& node : story.mesh.nodes) {
    crashes += journey_of(story.journeys, *node).crashes;
    torn += journey_of(story.journeys, *node).torn;
  }
  verdicts.push_back({crashes == 0, crashes != 0,
                      crashes == 0 ? "no daemon crashes"
                                   : "no daemon crashes: " + std::to_string(crashes) + " did"});
  verdicts.push_back({torn == 0, torn != 0,
                      torn == 0 ? "no NVRAM file is ever torn"
                                : "no NVRAM file is ever torn: " + std::to_string(torn) + " were"});
}

}  // namespace

std::vector<Verdict> judge(const Story& story) {
  std::vector<Verdict> verdicts;
  for (const Expectation& expected : story.scenario.expectations) {
    if (expected.kind == ExpectationKind::first_handshakes) {
      verdicts.push_back(judge_first_handshakes(story, expected.number));
      continue;
    }
    for (const Node* node : who_is(story.mesh, expected.who)) {
      verdicts.push_back(judge_node(story, *node, expected));
    }
  }
  for (std::size_t i = 0; i < story.scenario.steps.size(); ++i) {
    if (!story.done[i]) {
      verdicts.push_back({false, false,
                          "the step of line " + std::to_string(story.scenario.steps[i].line) +
                              " happens: it did not"});
    }
  }
  judge_health(story, verdicts);
  return verdicts;
}

}  // namespace lab
