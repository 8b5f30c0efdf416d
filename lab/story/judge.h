// Whether a run has ended, or may yet end, as its scenario expects.
#ifndef LAB_JUDGE_H
#define LAB_JUDGE_H

#include <string>
#include <vector>

#include "story/director.h"

namespace lab {

struct Verdict {
  bool holds = false;
  bool final = false;  // nothing that still happens can change it
  std::string text;    // what was expected and, where it does not hold, what there was
};

std::vector<Verdict> judge(const Story& story);

}  // namespace lab

#endif
