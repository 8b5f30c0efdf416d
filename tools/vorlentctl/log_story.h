// What only the daemon's log tells: which stations have asked and how far each has come, and which
// operation a unit has sent.
//
// The log holds texts from the air, and a stranger's may look like the daemon's own. So the story
// is for a person to read; nothing is approved by it.
#ifndef VORLENTCTL_LOG_STORY_H
#define VORLENTCTL_LOG_STORY_H

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

struct Station {
  std::string address;
  int stage = 0;  // as the daemon counts: 0 asked, 1 greeted, 2 has our key, 5 ready
};

struct Story {
  std::vector<Station> stations;
  int sent = 0;  // the last operation that went out, 0 for none
};

// Since the daemon's last start in `log`.
Story read_story(std::string_view log);

// The daemon's log, the older part first.
std::string read_log();

}  // namespace ctl

#endif
