// The driver's utility `wl`, as far as a daemon uses it, and what it says of a wrong call.
#ifndef LAB_WL_H
#define LAB_WL_H

#include <string>
#include <vector>

#include "air/air.h"

namespace lab {

// A command's exit status and what it prints.
struct CommandResult {
  int status = 0;
  std::string text;
};

// `arguments`: without the utility's name.
CommandResult wl(Air& air, Radio& radio, const std::vector<std::string>& arguments);

}  // namespace lab

#endif
