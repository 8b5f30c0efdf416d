#include "story/scenario.h"

#include <algorithm>
#include <array>

#include "node/mesh.h"
#include "story/actions.h"
#include "story/conditions.h"
#include "story/expectations.h"
#include "story/words.h"

namespace lab {

namespace {

struct Setting {
  std::string_view name;
  void (*take)(Words& words, Scenario& scenario, int line);
};

// loss P% [from WHO] [to WHO] [at TIME] [until TIME]
void take_loss(Words& words, Scenario& scenario, int line) {
  LossRule rule{.line = line, .loss = words.percent(), .from = {}, .to = {}};
  if (words.done()) {
    scenario.air.loss = rule.loss;
    return;
  }
  rule.from = words.take_if("from") ? words.take("whose frames") : "";
  rule.to = words.take_if("to") ? words.take("to whom") : "";
  rule.begin = words.take_if("at") ? words.time() : Time{};
  rule.end = words.take_if("until") ? words.time() : Time::max();
  if (!words.done()) {
    words.fail("from WHO, to WHO, at TIME and until TIME, in this order");
  }
  scenario.losses.push_back(rule);
}

void take_channel(Words& words, Scenario& scenario, int line) {
  const std::string who = words.take("a base");
  const int channel = words.number("a channel", 1, 48);
  scenario.channels[who] = {channel, line};
  if (!is_channel(channel)) {
    words.fail("a channel: 1 to 13, 36, 40, 44 or 48");
  }
}

void take_at(Words& words, Scenario& scenario, int line);
void take_when(Words& words, Scenario& scenario, int line);

constexpr const char* kFaster = "how many times as fast";

// What a line can begin with; `about` takes the whole line and is not among them.
constexpr std::array kSettings{
    Setting{"units", [](Words& words, Scenario& scenario,
                        int) { scenario.units = words.number("a number of units", 1, kMaxUnits); }},
    Setting{"bases", [](Words& words, Scenario& scenario,
                        int) { scenario.bases = words.number("a number of bases", 1, kMaxBases); }},
    Setting{"channel", take_channel},
    Setting{"stranger", [](Words&, Scenario& scenario, int) { scenario.stranger = true; }},
    Setting{"loss", take_loss},
    Setting{"duplicate", [](Words& words, Scenario& scenario,
                            int) { scenario.air.duplicate = words.percent(); }},
    Setting{"delay",
            [](Words& words, Scenario& scenario, int) { scenario.air.delay = words.time(); }},
    Setting{"jitter",
            [](Words& words, Scenario& scenario, int) { scenario.air.jitter = words.time(); }},
    Setting{"seed",
            [](Words& words, Scenario& scenario, int) {
              scenario.air.seed = static_cast<std::uint64_t>(words.number("a seed", 0, 2147483647));
            }},
    Setting{"limit", [](Words& words, Scenario& scenario, int) { scenario.limit = words.time(); }},
    Setting{"push-after",
            [](Words& words, Scenario& scenario, int) { scenario.push_after = words.time(); }},
    Setting{"time-lapse", [](Words& words, Scenario& scenario,
                             int) { scenario.time_lapse = words.number(kFaster, 1, 1000); }},
    Setting{"skip-waits", [](Words& words, Scenario& scenario,
                             int) { scenario.skip_waits = words.number(kFaster, 1, 1000); }},
    Setting{"at", take_at},
    Setting{"when", take_when},
    Setting{"expect", [](Words& words, Scenario& scenario, int line) {
              Expectation& expected = scenario.expectations.emplace_back();
              expected.line = line;
              take_expectation(words, expected);
            }}};

bool can_do(const std::string& who, Whose whose) {
  switch (whose) {
    case Whose::stranger:
      return who == "stranger";
    case Whose::bases:
      return who == "it" || who.rfind("base", 0) == 0;
    case Whose::newcomer:
      return unit_number(who) > 0;
    case Whose::radios:
      return true;
    case Whose::daemons:
      break;
  }
  return who != "stranger";
}

std::string take_argument(Words& words, Argument kind) {
  const std::string word = words.peek();
  switch (kind) {
    case Argument::none:
      return {};
    case Argument::off:
      return words.take_if("off") ? word : "";
    case Argument::window:
      return words.take_if("window") ? word : "";
    case Argument::time:
      words.time();
      return word;
    case Argument::number:
      words.number("a number", 0, 100000);
      return word;
    case Argument::signal:
      if (!words.take_if("USR1") && !words.take_if("USR2")) {
        words.fail("USR1 or USR2");
      }
      return word;
    case Argument::setting:
      words.setting();
      return word;
    case Argument::units:
      if (word != "units" && unit_number(word) == 0) {
        words.fail("one of the units, or units");
        return {};
      }
      return words.take("");
  }
  return {};
}

void take_action(Words& words, Step& step) {
  if (!words.take_if(":")) {
    words.fail("a colon before who does what");
    return;
  }
  step.who = words.take("who does it");
  step.action = words.one_of(actions(), "an action that " + step.who + " can do",
                             [&](const Action& action) { return can_do(step.who, action.whose); });
  if (step.action == nullptr) {
    return;
  }
  step.argument = take_argument(words, step.action->argument);
}

void take_at(Words& words, Scenario& scenario, int line) {
  Step& step = scenario.steps.emplace_back();
  step.line = line;
  step.trigger.after = words.time();
  take_action(words, step);
}

void take_when(Words& words, Scenario& scenario, int line) {
  Step& step = scenario.steps.emplace_back();
  step.line = line;
  Trigger& trigger = step.trigger;
  trigger.who = words.take("whom the condition is about");
  trigger.condition = words.one_of(conditions(), "a condition");
  if (trigger.condition == nullptr) {
    return;
  }
  trigger.condition->take(words, trigger);
  if (!words.done() && words.peek() != ":" && words.peek() != "after") {
    trigger.times = words.number("how often", 1, 1000);
    if (!words.take_if("times")) {
      words.fail("times");
    }
  }
  if (words.take_if("after")) {
    trigger.after = words.time();
  }
  take_action(words, step);
}

// A line with an error leaves the scenario as it was, and the error in return.
std::string parse_line(std::string_view line, int number, Scenario& scenario) {
  Words words(line);
  if (words.done()) {
    return words.error();
  }
  if (words.take_if("about")) {
    const std::size_t at = line.find("about") + 6;
    scenario.about += scenario.about.empty() ? "" : " ";
    scenario.about += at < line.size() ? line.substr(at) : "";
    return {};
  }
  Scenario changed = scenario;
  const Setting* setting = words.one_of(kSettings, "a line's first word, about or one of these");
  if (setting != nullptr) {
    setting->take(words, changed, number);
  }
  if (!words.done()) {
    words.fail("the end of the line");
  }
  if (words.error().empty()) {
    scenario = std::move(changed);
  }
  return words.error();
}

bool exists(const Scenario& scenario, const std::string& who) {
  int number = 0;
  if (who == "units" || who == "bases" || who == "base") {
    return true;
  }
  if (who == "stranger") {
    return scenario.stranger;
  }
  if (unit_number(who) > 0) {
    return unit_number(who) <= scenario.units;
  }
  return who.rfind("base-", 0) == 0 && read_number(who.substr(5), number) && number >= 2 &&
         number <= scenario.bases;
}

}  // namespace

Scenario parse_scenario(std::string_view text, const std::string& file, Errors& errors) {
  Scenario scenario;
  scenario.file = file;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string wrong = parse_line(text.substr(0, end), number, scenario);
    if (!wrong.empty()) {
      errors.emplace(number, file + ":" + std::to_string(number) + ": " + wrong);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (scenario.expectations.empty() && errors.empty()) {
    errors.emplace(0,
                   file + ": expected at least one line \"expect ...\" that says how it must end");
  }
  check_names(scenario, errors);
  return scenario;
}

void check_names(const Scenario& scenario, Errors& errors) {
  const auto check = [&](int line, const std::string& who, std::string_view also) {
    if (!who.empty() && who != also && !exists(scenario, who)) {
      errors.emplace(line, scenario.file + ":" + std::to_string(line) +
                               ": expected one of this mesh (" + std::to_string(scenario.units) +
                               " units, " + std::to_string(scenario.bases) + " bases), found \"" +
                               who + "\"");
    }
  };
  for (const Step& step : scenario.steps) {
    check(step.line, step.who, step.trigger.who.empty() ? "" : "it");
    check(step.line, step.trigger.who, "");
    if (step.action != nullptr && step.action->argument == Argument::units) {
      check(step.line, step.argument, "units");
    }
  }
  for (const Expectation& expected : scenario.expectations) {
    check(expected.line, expected.who, "");
    if (expected.kind != nullptr && expected.kind->name == "credentials") {
      check(expected.line, expected.text, "one-base");
    }
  }
  for (const auto& [who, channel] : scenario.channels) {
    check(channel.line, who, "");
  }
  for (const LossRule& rule : scenario.losses) {
    check(rule.line, rule.from, "");
    check(rule.line, rule.to, "");
  }
}

}  // namespace lab
