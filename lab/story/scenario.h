// A scenario: a mesh, its air, what happens when and to whom, and what must be true at the end. It
// is a file of lines, one statement each; docs/lab.md tells the language. What may be said stands
// in tables, each entry with what it means: settings in scenario.cpp, the rest in actions.h,
// conditions.h and expectations.h.
#ifndef LAB_SCENARIO_H
#define LAB_SCENARIO_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "air/air.h"

namespace lab {

struct Action;
struct Condition;
struct ExpectationKind;

struct Trigger {
  const Condition* condition = nullptr;  // none: `at` a time
  std::string who;
  int number = 0;  // operation or mode
  int times = 1;
  std::string key;
  std::string text;  // a value, or a part of a log line
  Time after{};      // of `at`, the time itself
};

struct Step {
  int line = 0;
  Trigger trigger;
  std::string who;
  const Action* action = nullptr;
  std::string argument;
};

struct Amount {
  enum class Bound { exactly, at_least, at_most };
  Bound bound = Bound::exactly;
  int number = 0;
};

struct Expectation {
  int line = 0;
  const ExpectationKind* kind = nullptr;
  bool negated = false;
  std::string who;  // empty: the whole mesh
  std::optional<Time> within;
  int number = 0;               // mode or operation
  std::optional<double> share;  // of first handshakes; none: as reckoned
  Amount amount;
  std::string key;
  std::string text;
};

struct Channel {
  int number = 0;
  int line = 0;
};

// What is lost of what some send to some others, for a while.
struct LossRule {
  int line = 0;
  double loss = 0;
  std::string from;  // empty: whoever sends
  std::string to;
  Time begin{};
  Time end = Time::max();
};

struct Scenario {
  std::string file;
  std::string about;
  int units = 3;
  int bases = 1;
  bool stranger = false;
  AirSettings air;
  std::vector<LossRule> losses;
  Time limit = 120s;
  Time push_after{};  // how long the list of ready units must rest before it is pushed to
  int time_lapse = 1;
  int skip_waits = 1;
  std::map<std::string, Channel> channels;  // by base
  std::vector<Step> steps;
  std::vector<Expectation> expectations;
};

// All errors by line, each as "file:line: expected ..., found ..."; those of the file as line 0.
using Errors = std::multimap<int, std::string>;

Scenario parse_scenario(std::string_view text, const std::string& file, Errors& errors);
// Whether everybody who is named exists in this mesh; asked again when the number of units changes.
void check_names(const Scenario& scenario, Errors& errors);

}  // namespace lab

#endif
