// What this unit is and waits for, put together from NVRAM, the daemon's process and its log.
#ifndef VORLENTCTL_STATUS_H
#define VORLENTCTL_STATUS_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "candidates.h"
#include "log_story.h"

namespace ctl {

struct Status {
  std::optional<pid_t> daemon;
  std::optional<int> mode;  // 0 to 6; none where the daemon has not written one yet
  bool window_open = false;
  std::optional<long> seconds_left;  // of the window, or of a unit's wait for its credentials
  std::vector<Station> stations;
  std::string waits_for;    // empty: for nothing
  std::string fingerprint;  // of this unit's own key; empty where it has none
};

Status read_status(std::optional<pid_t> daemon);

const char* mode_in_words(std::optional<int> mode);
const char* stage_in_words(int stage);
bool is_base(std::optional<int> mode);  // modes 2 and 5, which take units in

}  // namespace ctl

#endif
