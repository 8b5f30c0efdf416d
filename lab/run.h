// One run of a scenario, from its folder's making to its results.
#ifndef LAB_RUN_H
#define LAB_RUN_H

#include <optional>
#include <string>

#include "story/scenario.h"

namespace lab {

struct Options {
  std::string scenario = "onboard";
  std::string out = "lab-results";
  std::string daemon;  // path of the daemon's binary
  std::string tools;   // folder of this program and its companions
  std::string keys;    // store of ready key pairs, or none
  bool json = false;
  bool keep = false;
  std::optional<int> web;  // port of the page that watches the run, 0 for a free one
  bool steps = false;      // a line for each, on a terminal too
};

// The exit status: 0 as expected, 1 not so, 2 it could not work, 128 and more for a signal.
int run(const Options& options, const Scenario& scenario);

}  // namespace lab

#endif
