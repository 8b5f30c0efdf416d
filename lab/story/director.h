// The director: makes happen what the scenario says, when it says so, and judges the end.
#ifndef LAB_DIRECTOR_H
#define LAB_DIRECTOR_H

#include <map>
#include <string>
#include <vector>

#include "base/loop.h"

namespace lab {

struct Lab;
struct Node;
struct Occurrence;

struct Director {
  // By step: how often its condition was met by each node, and whether it was carried out.
  std::vector<std::map<const Node*, int>> counts;
  std::vector<bool> done;
};

struct Verdict {
  bool holds = false;
  bool final = false;  // nothing that still happens can change it
  std::string text;    // what was expected and, where it does not hold, what there was
};

// Switches everything on that no step of the scenario switches on, and waits for the rest.
void start_director(Lab& lab);
void director_notices(Lab& lab, const Occurrence& seen);
std::vector<Verdict> judge(Lab& lab);

}  // namespace lab

#endif
