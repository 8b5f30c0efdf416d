#include "scenario.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "frames.h"

namespace lab {

namespace {

// The words of one line, taken from the front; the first thing that is not as expected is kept.
class Words {
 public:
  explicit Words(std::string_view line);
  bool done() const { return at_ >= words_.size(); }
  std::string peek() const { return done() ? "" : words_[at_]; }
  bool take_if(std::string_view word);
  std::string take(const char* expected);
  int number(const char* expected, int low, int high);
  double percent();
  Time time();
  void fail(const std::string& expected);
  const std::string& error() const { return error_; }

 private:
  std::vector<std::string> words_;
  std::size_t at_ = 0;
  std::string error_;
};

// Words are separated by blanks; a colon ends a word and is one itself; quotes hold blanks
// together.
Words::Words(std::string_view line) {
  std::string word;
  bool quoted = false;
  const auto end_word = [&] {
    if (!word.empty()) {
      words_.push_back(std::exchange(word, {}));
    }
  };
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    const bool blank = c == ' ' || c == '\t' || c == '\r';
    const bool before_blank = i + 1 == line.size() || line.find_first_of(" \t\r", i) == i + 1;
    if (c == '"') {
      quoted = !quoted;
    } else if (quoted) {
      word += c;
    } else if (c == '#') {
      break;
    } else if (blank || (c == ':' && before_blank)) {
      end_word();
      if (c == ':') {
        words_.emplace_back(":");
      }
    } else {
      word += c;
    }
  }
  end_word();
  if (quoted) {
    fail("a closing quote");
  }
}

void Words::fail(const std::string& expected) {
  if (error_.empty()) {
    error_ = "expected " + expected;
    error_ += done() ? ", found the end of the line" : ", found \"" + words_[at_] + "\"";
  }
}

bool Words::take_if(std::string_view word) {
  const bool same = !done() && words_[at_] == word;
  at_ += same ? 1 : 0;
  return same;
}

std::string Words::take(const char* expected) {
  if (done()) {
    fail(expected);
    return {};
  }
  return words_[at_++];
}

template <typename Number>
bool read_number(std::string_view text, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

int Words::number(const char* expected, int low, int high) {
  int value = 0;
  if (done() || !read_number(words_[at_], value) || value < low || value > high) {
    fail(std::string(expected) + " from " + std::to_string(low) + " to " + std::to_string(high));
    return low;
  }
  ++at_;
  return value;
}

double Words::percent() {
  double value = 0;
  const std::string word = peek();
  if (word.size() < 2 || word.back() != '%' ||
      !read_number(std::string_view(word).substr(0, word.size() - 1), value) || value < 0 ||
      value > 100) {
    fail("a share from 0% to 100%");
    return 0;
  }
  ++at_;
  return value / 100;
}

Time Words::time() {
  const auto value = parse_time(peek());
  if (!value) {
    fail("a time such as 200ms, 5s or 10min");
    return {};
  }
  ++at_;
  return *value;
}

enum class Argument { none, time, number, signal, setting };

struct Action {
  std::string_view name;
  Argument argument;
};

constexpr std::array<Action, 17> kActions{{{"power-on", Argument::none},
                                           {"power-cut", Argument::none},
                                           {"power-cycle", Argument::time},
                                           {"kill", Argument::none},
                                           {"freeze", Argument::none},
                                           {"thaw", Argument::none},
                                           {"mute", Argument::none},
                                           {"unmute", Argument::none},
                                           {"signal", Argument::signal},
                                           {"nvram", Argument::setting},
                                           {"window", Argument::none},
                                           {"push", Argument::none},
                                           {"hold", Argument::none},
                                           {"resume", Argument::none},
                                           {"flood", Argument::number},
                                           {"time-lapse", Argument::number},
                                           {"restart", Argument::none}}};

std::string list_of_actions() {
  std::string list = "an action (";
  for (const Action& action : kActions) {
    list += std::string(action.name) + (&action == &kActions.back() ? ")" : ", ");
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
  const auto found = std::find_if(kActions.begin(), kActions.end(),
                                  [&](const Action& action) { return action.name == name; });
  if (found == kActions.end()) {
    words.fail(list_of_actions());
    return;
  }
  step.action = words.take("an action");
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

void take_setting(Words& words, Scenario& out) {
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
    out.channels[who] = words.number("a channel", 1, 48);
    if (!is_channel(out.channels[who])) {
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
    out.about +=
        (out.about.empty() ? "" : " ") + std::string(at < line.size() ? line.substr(at) : "");
    return {};
  }
  if (words.take_if("at")) {
    Step step{.line = number, .trigger = {}, .who = {}, .action = {}, .argument = {}};
    step.trigger.after = words.time();
    take_action(words, step);
    out.steps.push_back(step);
  } else if (words.take_if("when")) {
    Step step{.line = number, .trigger = {}, .who = {}, .action = {}, .argument = {}};
    take_condition(words, step.trigger);
    take_action(words, step);
    out.steps.push_back(step);
  } else if (words.take_if("expect")) {
    Expectation expected{.line = number, .kind = {}, .who = {}, .number = 0, .text = {}};
    take_expectation(words, expected);
    out.expectations.push_back(expected);
  } else {
    take_setting(words, out);
  }
  if (!words.done()) {
    words.fail("the end of the line");
  }
  return words.error();
}

bool exists(const Scenario& scenario, const std::string& who) {
  int number = 0;
  if (who == "units" || who == "bases" || who == "base" || who == "lab") {
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

std::optional<Time> parse_time(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
  if (error != std::errc() || value < 0 || value > 1e6) {
    return std::nullopt;
  }
  if (unit == "ms") {
    return from_seconds(value / 1000);
  }
  if (unit == "s") {
    return from_seconds(value);
  }
  return unit == "min" ? std::optional(from_seconds(value * 60)) : std::nullopt;
}

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
    check(0, who, "");
  }
  return error.empty();
}

}  // namespace lab
