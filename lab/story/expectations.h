// What a scenario can expect of a run: one table of names, and of how each is judged.
//
// An expectation holds at a moment; what must not happen holds from the beginning, so that a run
// goes on until all that must come true has come true, or to its limit.
#ifndef LAB_EXPECTATIONS_H
#define LAB_EXPECTATIONS_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "story/director.h"
#include "story/words.h"

namespace lab {

struct Verdict {
  bool holds = false;
  bool final = false;  // nothing that still happens can change it
  std::string text;    // what was expected and, where it does not hold, what there was
};

// How things stand, with what the expectation says in words that follow a name.
struct Finding {
  bool holds = false;
  bool final = false;
  std::string expected;
  std::string found;
};

struct ExpectationKind {
  std::string_view name;
  void (*take)(Words& words, Expectation& expected);
  Finding (*look)(const Story& story, const Node& node, const Expectation& expected);
  bool counts = false;
};

std::span<const ExpectationKind> expectation_kinds();
// Takes what stands behind `expect`.
void take_expectation(Words& words, Expectation& expected);

// Notes which expectations with a time were met in it; called when something has happened.
void note_in_time(Story& story);
std::vector<Verdict> judge(const Story& story);
// The share of first handshakes that get through with the scenario's loss, where it is expected.
std::optional<double> reckoned_first_handshakes(const Scenario& scenario);
// Whether the run may end: what must come true is so, or can no longer be.
bool is_decided(const Story& story, const std::vector<Verdict>& verdicts);

}  // namespace lab

#endif
