// A scenario: a mesh, its air, what happens when and to whom, and what must be true at the end. One
// statement a line, `#` begins a comment:
//
//   about TEXT                    units N      bases N     channel BASE N     stranger
//   loss P%   duplicate P%        delay TIME   jitter TIME seed N             limit TIME
//   time-lapse F                  skip-waits F                 push-after TIME
//   at TIME: WHO ACTION [ARGUMENT]
//   when WHO CONDITION [N times] [after TIME]: WHO ACTION [ARGUMENT]
//   CONDITION: sends OPERATION   hears OPERATION   mode N   nvram KEY=VALUE
//   expect WHO mode N              expect WHO credentials BASE    expect WHO gave-up N
//   expect first-handshakes P%     expect WHO logged "TEXT"
//
// WHO is a unit (`unit-2`), `units`, a base (`base`, `base-2`), `bases` or `stranger`;
// behind a colon also `it`, the one that the condition was about. With `units` a condition stands
// for each unit by itself. A TIME is a number with ms, s or min.
#ifndef LAB_SCENARIO_H
#define LAB_SCENARIO_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "air/air.h"

namespace lab {

struct Action;

enum class TriggerKind { at, sends, hears, mode, nvram };

struct Trigger {
  TriggerKind kind = TriggerKind::at;
  std::string who;
  int number = 0;  // operation or mode
  int times = 1;
  std::string key;
  std::string value;
  Time after{};  // of `at`, the time itself
};

struct Step {
  int line = 0;
  Trigger trigger;
  std::string who;
  const Action* action = nullptr;
  std::string argument;
};

enum class ExpectationKind { mode, credentials, gave_up, first_handshakes, logged };

struct Expectation {
  int line = 0;
  ExpectationKind kind = ExpectationKind::mode;
  std::string who;
  int number = 0;  // mode, times or percent
  std::string text;
};

struct Channel {
  int number = 0;
  int line = 0;
};

struct Scenario {
  std::string file;
  std::string about;
  int units = 3;
  int bases = 1;
  bool stranger = false;
  AirSettings air;
  Time limit = 120s;
  Time push_after{};  // how long the list of ready units must rest before it is pushed to
  int time_lapse = 1;
  int skip_waits = 1;
  std::map<std::string, Channel> channels;  // by base
  std::vector<Step> steps;
  std::vector<Expectation> expectations;
};

// False, and one line "file:line: what was expected" in `error`, where the text is no scenario.
bool parse_scenario(std::string_view text, const std::string& file, Scenario& out,
                    std::string& error);

// Whether everybody who is named exists in this mesh; asked again when the number of units changes.
bool check_names(const Scenario& scenario, std::string& error);

}  // namespace lab

#endif
