#include "story/scenario.h"

#include <algorithm>

#include "air/frames.h"
#include "node/mesh.h"
#include "story/actions.h"
#include "story/words.h"

namespace lab {

namespace {

bool can_do(const std::string& who, Whose whose) {
  switch (whose) {
    case Whose::stranger:
      return who == "stranger";
    case Whose::bases:
      return who == "it" || who.rfind("base", 0) == 0;
    case Whose::radios:
      return true;
    case Whose::daemons:
      break;
  }
  return who != "stranger";
}

std::string list_of_actions() {
  std::string list = "an action (";
  for (const Action& action : actions()) {
    list += std::string(action.name) + (&action == &actions().back() ? ")" : ", ");
  }
  return list;
}

std::string argument_of(Words& words, Argument kind) {
  const std::string word = words.peek();
  switch (kind) {
    case Argument::none:
      return {};
    case Argument::time:
      words.time();
      return word;
    case Argument::number:
      words.number("a number", 0, 100000);
      return word;
    case Argument::signal:
      if (word != "USR1" && word != "USR2") {
        words.fail("USR1 or USR2");
      }
      break;
    case Argument::setting:
      if (word.find('=') == std::string::npos || word.front() == '=') {
        words.fail("KEY=VALUE");
      }
      break;
  }
  return words.take("an argument");
}

void take_action(Words& words, Step& step) {
  if (!words.take_if(":")) {
    words.fail("a colon before who does what");
    return;
  }
  step.who = words.take("who does it");
  const std::string name = words.peek();
  const auto found = std::find_if(actions().begin(), actions().end(),
                                  [&](const Action& action) { return action.name == name; });
  if (found == actions().end()) {
    words.fail(list_of_actions());
    return;
  }
  if (!can_do(step.who, found->whose)) {
    words.fail("an action that " + step.who + " can do");
    return;
  }
  words.take("an action");
  step.action = &*found;
  step.argument = argument_of(words, found->argument);
}

void take_condition(Words& words, Trigger& trigger) {
  trigger.who = words.take("whom the condition is about");
  if (words.take_if("sends")) {
    trigger.kind = TriggerKind::sends;
  } else if (words.take_if("hears")) {
    trigger.kind = TriggerKind::hears;
  } else if (words.take_if("mode")) {
    trigger.kind = TriggerKind::mode;
    trigger.number = words.number("a mode", 0, 6);
  } else if (words.take_if("nvram")) {
    trigger.kind = TriggerKind::nvram;
    const std::string setting = argument_of(words, Argument::setting);
    const std::size_t equals = setting.find('=');
    trigger.key = setting.substr(0, equals);
    trigger.value = equals < setting.size() ? setting.substr(equals + 1) : "";
  } else {
    words.fail("sends, hears, mode or nvram");
  }
  if (trigger.kind == TriggerKind::sends || trigger.kind == TriggerKind::hears) {
    trigger.number = words.number("an operation", 1000, 1004);
  }
  if (!words.done() && words.peek() != ":" && words.peek() != "after") {
    trigger.times = words.number("how often", 1, 1000);
    if (!words.take_if("times")) {
      words.fail("times");
    }
  }
  if (words.take_if("after")) {
    trigger.after = words.time();
  }
}

void take_expectation(Words& words, Expectation& expected) {
  if (words.take_if("first-handshakes")) {
    expected.kind = ExpectationKind::first_handshakes;
    expected.number = static_cast<int>(words.percent() * 100 + 0.5);
    return;
  }
  expected.who = words.take("of whom something is expected, or first-handshakes");
  if (words.take_if("mode")) {
    expected.kind = ExpectationKind::mode;
    expected.number = words.number("a mode", 0, 6);
  } else if (words.take_if("credentials")) {
    expected.kind = ExpectationKind::credentials;
    expected.text = words.take("a base, or one-base");
  } else if (words.take_if("gave-up")) {
    expected.kind = ExpectationKind::gave_up;
    expected.number = words.number("how often", 0, 1000);
  } else if (words.take_if("logged")) {
    expected.kind = ExpectationKind::logged;
    expected.text = words.take("a text in quotes");
  } else {
    words.fail("mode, credentials, gave-up or logged");
  }
}

void take_setting(Words& words, int line, Scenario& out) {
  const std::string name = words.peek();
  if (words.take_if("units")) {
    out.units = words.number("a number of units", 1, kMaxUnits);
  } else if (words.take_if("bases")) {
    out.bases = words.number("a number of bases", 1, kMaxBases);
  } else if (words.take_if("loss")) {
    out.air.loss = words.percent();
  } else if (words.take_if("duplicate")) {
    out.air.duplicate = words.percent();
  } else if (words.take_if("delay")) {
    out.air.delay = words.time();
  } else if (words.take_if("jitter")) {
    out.air.jitter = words.time();
  } else if (words.take_if("seed")) {
    out.air.seed = static_cast<std::uint64_t>(words.number("a seed", 0, 2147483647));
  } else if (words.take_if("limit")) {
    out.limit = words.time();
  } else if (words.take_if("push-after")) {
    out.push_after = words.time();
  } else if (words.take_if("time-lapse")) {
    out.time_lapse = words.number("how many times as fast", 1, 1000);
  } else if (words.take_if("skip-waits")) {
    out.skip_waits = words.number("how many times as fast", 1, 1000);
  } else if (words.take_if("stranger")) {
    out.stranger = true;
  } else if (words.take_if("channel")) {
    const std::string who = words.take("a base");
    const int channel = words.number("a channel", 1, 48);
    out.channels[who] = {channel, line};
    if (!is_channel(channel)) {
      words.fail("a channel: 1 to 13, 36, 40, 44 or 48");
    }
  } else {
    words.fail("a setting, at, when or expect");
  }
}

std::string parse_line(std::string_view line, int number, Scenario& out) {
  Words words(line);
  if (words.done()) {
    return words.error();
  }
  if (words.take_if("about")) {
    const std::size_t at = line.find("about") + 6;
    if (!out.about.empty()) {
      out.about += ' ';
    }
    out.about += line.substr(std::min(at, line.size()));
    return {};
  }
  if (words.take_if("at")) {
    Step step{.line = number, .trigger = {}, .who = {}, .action = nullptr, .argument = {}};
    step.trigger.after = words.time();
    take_action(words, step);
    out.steps.push_back(step);
  } else if (words.take_if("when")) {
    Step step{.line = number, .trigger = {}, .who = {}, .action = nullptr, .argument = {}};
    take_condition(words, step.trigger);
    take_action(words, step);
    out.steps.push_back(step);
  } else if (words.take_if("expect")) {
    Expectation expected{.line = number, .kind = {}, .who = {}, .number = 0, .text = {}};
    take_expectation(words, expected);
    out.expectations.push_back(expected);
  } else {
    take_setting(words, number, out);
  }
  if (!words.done()) {
    words.fail("the end of the line");
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
  if (who.rfind("unit-", 0) == 0) {
    return read_number(who.substr(5), number) && number >= 1 && number <= scenario.units;
  }
  return who.rfind("base-", 0) == 0 && read_number(who.substr(5), number) && number >= 2 &&
         number <= scenario.bases;
}

}  // namespace

bool parse_scenario(std::string_view text, const std::string& file, Scenario& out,
                    std::string& error) {
  out = {};
  out.file = file;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string wrong = parse_line(text.substr(0, end), number, out);
    if (!wrong.empty()) {
      error = file + ":" + std::to_string(number) + ": " + wrong;
      return false;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (out.expectations.empty()) {
    error = file + ": expected at least one line \"expect ...\" that says how it must end";
    return false;
  }
  return check_names(out, error);
}

bool check_names(const Scenario& scenario, std::string& error) {
  const auto check = [&](int line, const std::string& who, std::string_view also) {
    if (error.empty() && who != also && !exists(scenario, who)) {
      error = scenario.file + ":" + std::to_string(line) + ": expected one of this mesh (" +
              std::to_string(scenario.units) + " units, " + std::to_string(scenario.bases) +
              " bases), found \"" + who + "\"";
    }
  };
  error.clear();
  for (const Step& step : scenario.steps) {
    check(step.line, step.who, step.trigger.kind == TriggerKind::at ? "" : "it");
    check(step.line, step.trigger.who, "");
  }
  for (const Expectation& expected : scenario.expectations) {
    check(expected.line, expected.who, "");
    if (expected.kind == ExpectationKind::credentials) {
      check(expected.line, expected.text, "one-base");
    }
  }
  for (const auto& [who, channel] : scenario.channels) {
    check(channel.line, who, "");
  }
  return error.empty();
}

}  // namespace lab
