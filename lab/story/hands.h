// What somebody who watches a run has happen, in the words of a scenario: "unit-3 power-cut", or a
// loss from now on, "loss 20% from base until 90s".
#ifndef LAB_HANDS_H
#define LAB_HANDS_H

#include <string>

#include "story/director.h"

namespace lab {

// Carries the line out and appends it to `written`, as a line of a scenario that does it at the
// same time. Returns what is wrong with it, or nothing.
std::string do_by_hand(Story& story, const std::string& line, std::string& written);
// The text of the scenario and what the command line said over it: what is done by hand follows.
std::string as_played(const Story& story, const std::string& text);

}  // namespace lab

#endif
