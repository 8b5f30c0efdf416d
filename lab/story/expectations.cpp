#include "story/expectations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "base/box_files.h"

namespace lab {

namespace {

using Bound = Amount::Bound;

std::string read_log(const Node& node) {
  const std::string& box = node.sandbox.folder;
  return read_in_box(box, std::string(kLog) + ".1").value_or("") +
         read_in_box(box, kLog).value_or("");
}

void take_amount(Words& words, Amount& amount) {
  if (words.take_if("at")) {
    amount.bound = words.take_if("least") ? Bound::at_least : Bound::at_most;
    if (amount.bound == Bound::at_most && !words.take_if("most")) {
      words.fail("least or most");
    }
  }
  amount.number = words.number("how often", 0, 100000);
  words.take_if("times");
}

// Counts only grow.
Finding count(int found, const Amount& amount, const std::string& what) {
  const bool holds = amount.bound == Bound::at_least  ? found >= amount.number
                     : amount.bound == Bound::at_most ? found <= amount.number
                                                      : found == amount.number;
  const bool reached = amount.bound == Bound::at_least && holds;
  const char* bound = amount.bound == Bound::at_least  ? " at least "
                      : amount.bound == Bound::at_most ? " at most "
                                                       : " exactly ";
  return {holds, reached || found > amount.number,
          what + bound + std::to_string(amount.number) + " times",
          std::to_string(found) + " times"};
}

Finding look_at_mode(const Story& story, const Node& node, const Expectation& expected) {
  return {node.platform.mode == expected.number, false,
          "is in mode " + std::to_string(expected.number),
          outcome_of(story.mesh, node, journey_of(story.journeys, node))};
}

Finding look_at_credentials(const Story& story, const Node& node, const Expectation& expected) {
  std::vector<std::string> held;
  for (const Node* base : all_of(story.mesh, NodeKind::base)) {
    if (has_credentials_of(node, *base)) {
      held.push_back(base->name);
    }
  }
  const bool any = expected.text == "one-base";
  return {held.size() == 1 && (any || held.front() == expected.text), false,
          "holds the credentials of " + (any ? "exactly one base" : expected.text),
          held.empty() ? "it holds none" : "it holds those of " + held.front()};
}

Finding look_at_give_ups(const Story& story, const Node& node, const Expectation& expected) {
  return count(journey_of(story.journeys, node).gave_up, expected.amount,
               "gives up and searches again");
}

template <auto counts>
Finding look_at_frames(const Story& story, const Node& node, const Expectation& expected) {
  const Journey journey = journey_of(story.journeys, node);
  return count(
      (journey.*counts)[static_cast<std::size_t>(expected.number - 1000)], expected.amount,
      (counts == &Journey::sent_counts ? "sends " : "hears ") + std::to_string(expected.number));
}

Finding look_at_log(const Story& /*story*/, const Node& node, const Expectation& expected) {
  const bool holds = read_log(node).find(expected.text) != std::string::npos;
  return {holds, holds, "logs \"" + expected.text + "\"", holds ? "it did" : "it did not"};
}

Finding look_at_nvram(const Story& /*story*/, const Node& node, const Expectation& expected) {
  const auto& settings = node.nvram.settings;
  const auto found = settings.find(expected.key);
  return {found != settings.end() && found->second == expected.text, false,
          "has " + expected.key + "=" + expected.text + " in its NVRAM",
          found == settings.end() ? "it is not set" : "it is \"" + found->second + "\""};
}

void take_frames(Words& words, Expectation& expected) {
  expected.number = words.number("an operation", 1000, 1004);
  take_amount(words, expected.amount);
}

constexpr std::array kKinds{
    ExpectationKind{
        "mode",
        [](Words& words, Expectation& expected) { expected.number = words.number("a mode", 0, 6); },
        look_at_mode},
    ExpectationKind{"credentials",
                    [](Words& words, Expectation& expected) {
                      expected.text = words.take("a base, or one-base");
                    },
                    look_at_credentials},
    ExpectationKind{
        "gave-up", [](Words& words, Expectation& expected) { take_amount(words, expected.amount); },
        look_at_give_ups, true},
    ExpectationKind{"sent", take_frames, look_at_frames<&Journey::sent_counts>, true},
    ExpectationKind{"heard", take_frames, look_at_frames<&Journey::heard_counts>, true},
    ExpectationKind{
        "logged",
        [](Words& words, Expectation& expected) { expected.text = words.take("a text in quotes"); },
        look_at_log},
    ExpectationKind{"nvram",
                    [](Words& words, Expectation& expected) {
                      std::tie(expected.key, expected.text) = words.setting();
                    },
                    look_at_nvram}};

// Whether it must come true, and not only stay so.
bool is_wanted(const Expectation& expected) {
  const bool counted = expected.amount.number > 0 && expected.amount.bound != Bound::at_most;
  const bool counts = expected.kind != nullptr && expected.kind->counts;
  return !expected.negated && (!counts || counted);
}

std::string time_text(Time time) {
  std::string text = std::to_string(seconds(time));
  text.erase(text.find_last_not_of('0') + 1);
  return text + (text.back() == '.' ? "0 s" : " s");
}

Verdict judge_node(const Story& story, const Node& node, std::size_t index) {
  const Expectation& expected = story.scenario.expectations[index];
  Finding finding = expected.kind->look(story, node, expected);
  if (expected.within) {
    const auto decided = story.in_time.find({index, &node});
    finding.final = decided != story.in_time.end();
    finding.holds = finding.final && decided->second;
    finding.found = (finding.holds ? "by then; now " : "not by then; now ") + finding.found;
    finding.expected += " within " + time_text(*expected.within) + " of its power-on";
  }
  const bool holds = finding.holds != expected.negated;
  return {holds, finding.final,
          (expected.negated ? "not: " : "") + node.name + " " + finding.expected +
              (holds ? "" : ": " + finding.found)};
}

// A run in a million lies outside by luck, so that a scenario holds with any seed while all is
// well.
constexpr double kNoLuck = 0.5e-6;  // at each end

// How many of `tries` come true by any luck when each does with the chance `share`: from, to.
std::pair<int, int> bounds_of(double share, int tries) {
  const auto chance = [&](int hits) {
    return std::exp(std::lgamma(tries + 1) - std::lgamma(hits + 1) -
                    std::lgamma(tries - hits + 1)) *
           std::pow(share, hits) * std::pow(1 - share, tries - hits);
  };
  int low = 0;
  double fewer = chance(low);
  while (fewer < kNoLuck && low < tries) {
    fewer += chance(++low);
  }
  int high = tries;
  double more = chance(high);
  while (more < kNoLuck && high > low) {
    more += chance(--high);
  }
  return {low, high};
}

// A request and its answer must both arrive; there are seven tries at each of the two stages.
double reckoned_share(double loss) {
  return std::pow(1 - std::pow(1 - std::pow(1 - loss, 2), 7), 2);
}

std::string percent_text(double share) {
  char text[32];
  snprintf(text, sizeof text, "%.1f %%", share * 100);
  return text;
}

Verdict judge_first_handshakes(const Story& story, double share) {
  int begun = 0;
  int completed = 0;
  bool decided = true;
  for (const Node* unit : all_of(story.mesh, NodeKind::unit)) {
    const auto first = journey_of(story.journeys, *unit).first_handshake;
    begun += first == Journey::First::completed || first == Journey::First::failed ? 1 : 0;
    completed += first == Journey::First::completed ? 1 : 0;
    decided = decided && first != Journey::First::none && first != Journey::First::running;
  }
  const auto [low, high] = bounds_of(share, begun);
  return {decided && begun > 0 && completed >= low && completed <= high, decided,
          percent_text(share) + " of the first handshakes reach 1004, with any luck " +
              std::to_string(low) + " to " + std::to_string(high) + " of these " +
              std::to_string(begun) + ": " + std::to_string(completed) + " did"};
}

Verdict none(int count, const std::string& what, const char* did) {
  return {count == 0, count != 0, what + (count == 0 ? "" : ": " + std::to_string(count) + did)};
}

}  // namespace

std::span<const ExpectationKind> expectation_kinds() {
  return kKinds;
}

void take_expectation(Words& words, Expectation& expected) {
  expected.negated = words.take_if("not");
  if (!expected.negated && words.take_if("first-handshakes")) {
    if (!words.take_if("as-reckoned")) {
      expected.share = words.percent("a share from 0% to 100%, or as-reckoned");
    }
    return;
  }
  expected.who = words.take("of whom something is expected, not, or first-handshakes");
  if (words.take_if("within")) {
    expected.within = words.time();
  }
  expected.kind = words.one_of(expectation_kinds(), "what is expected");
  if (expected.kind != nullptr) {
    expected.kind->take(words, expected);
  }
}

void note_in_time(Story& story) {
  const auto& expectations = story.scenario.expectations;
  for (std::size_t i = 0; i < expectations.size(); ++i) {
    if (!expectations[i].within) {
      continue;
    }
    for (const Node* node : who_is(story.mesh, expectations[i].who)) {
      const Time powered = journey_of(story.journeys, *node).powered;
      if (powered < Time{} || story.in_time.count({i, node}) != 0) {
        continue;
      }
      if (story.mesh.loop.clock.now() > powered + *expectations[i].within) {
        story.in_time[{i, node}] = false;
      } else if (expectations[i].kind->look(story, *node, expectations[i]).holds) {
        story.in_time[{i, node}] = true;
      }
    }
  }
}

std::vector<Verdict> judge(const Story& story) {
  std::vector<Verdict> verdicts;
  const Scenario& scenario = story.scenario;
  for (std::size_t i = 0; i < scenario.expectations.size(); ++i) {
    if (scenario.expectations[i].kind == nullptr) {
      verdicts.push_back(judge_first_handshakes(
          story, scenario.expectations[i].share.value_or(reckoned_share(scenario.air.loss))));
      continue;
    }
    for (const Node* node : who_is(story.mesh, scenario.expectations[i].who)) {
      verdicts.push_back(judge_node(story, *node, i));
    }
  }
  for (std::size_t i = 0; i < scenario.steps.size(); ++i) {
    if (!story.done[i]) {
      verdicts.push_back(
          {false, false,
           "the step of line " + std::to_string(scenario.steps[i].line) + " happens: it did not"});
    }
  }
  int crashes = 0;
  int torn = 0;
  for (const auto& [node, journey] : story.journeys) {
    crashes += journey.crashes;
    torn += journey.torn;
  }
  verdicts.push_back(none(crashes, "no daemon crashes", " did"));
  verdicts.push_back(none(torn, "no NVRAM file is ever torn", " were"));
  return verdicts;
}

std::optional<double> reckoned_first_handshakes(const Scenario& scenario) {
  const auto reckoned = [](const Expectation& expected) {
    return expected.kind == nullptr && !expected.share;
  };
  const auto& all = scenario.expectations;
  return std::any_of(all.begin(), all.end(), reckoned)
             ? std::optional(reckoned_share(scenario.air.loss))
             : std::nullopt;
}

bool is_decided(const Story& story, const std::vector<Verdict>& verdicts) {
  const auto& expectations = story.scenario.expectations;
  return std::any_of(expectations.begin(), expectations.end(), is_wanted) &&
         std::all_of(verdicts.begin(), verdicts.end(),
                     [](const Verdict& verdict) { return verdict.holds || verdict.final; });
}

}  // namespace lab
