// What a step of a scenario can wait for: one table of names, and of what each looks for in what
// happens.
#ifndef LAB_CONDITIONS_H
#define LAB_CONDITIONS_H

#include <span>
#include <string_view>

#include "node/happening.h"
#include "story/scenario.h"
#include "story/words.h"

namespace lab {

struct Condition {
  std::string_view name;
  void (*take)(Words& words, Trigger& trigger);
  bool (*met)(const Trigger& trigger, const Happening& seen);
};

std::span<const Condition> conditions();

}  // namespace lab

#endif
