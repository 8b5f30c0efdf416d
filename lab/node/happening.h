// What can happen in a run. Whoever does or sees something publishes it (mesh.h), and everybody
// else learns of it in that way alone.
#ifndef LAB_HAPPENING_H
#define LAB_HAPPENING_H

#include <optional>
#include <string>
#include <variant>

#include "air/air.h"

namespace lab {

struct Node;

inline constexpr int kOff = -1;  // the mode of a unit whose daemon does not run

// The node put a frame on the air; `to` is whom it is for, if that is one of the mesh.
struct FrameSent {
  const Transmission& frame;
  const Node* to;
  [[nodiscard]] bool missed() const;  // by whom it was for, or by all
};
// The node's driver told its daemon; `operation` and number are those of a handshake frame of
// `from`, or 0.
struct DriverTold {
  View datagram;
  const Node* from;
  int operation;
  std::uint64_t frame;
};
// The radio heard a handshake frame of `from`, and the daemon did not serve it.
struct Unserved {
  const Node* from;
  int operation;
  std::uint64_t frame;
  std::string why;
};
// A base has no row left for another unit.
struct TableFull {};
struct CommandRun {
  std::string line;
  int status;
  std::string answer;
};
struct ModeEntered {
  int mode;
  int before;
};
// A unit that takes up its search again.
inline bool gives_up(const ModeEntered& entered) {
  return entered.before == 1 && entered.mode == 0;
}
// A unit that was not there before.
struct Arrived {};
// The radio stays on another channel from now on; what it visits in a scan is not told.
struct Tuned {
  int channel;
};
struct NvramSet {
  std::string key;
  std::optional<std::string> value;  // none: removed
};
struct Logged {
  std::string line;
};
struct PowerSwitched {
  bool on;
  bool unsaved = false;  // settings were lost
};
struct DaemonStarted {};
struct DaemonEnded {
  std::string how;
  bool crashed;
};
struct PlatformActed {
  std::string what;
};
struct DirectorActed {
  std::string what;
};
struct NvramTorn {
  std::string what;
};
struct Fault {
  std::string what;
};

using What = std::variant<FrameSent, DriverTold, Unserved, TableFull, CommandRun, ModeEntered,
                          Arrived, Tuned, NvramSet, Logged, PowerSwitched, DaemonStarted,
                          DaemonEnded, PlatformActed, DirectorActed, NvramTorn, Fault>;

struct Happening {
  Time time;
  Node& node;  // whom it happened to
  const What& what;

  template <typename Kind>
  [[nodiscard]] const Kind* as() const {
    return std::get_if<Kind>(&what);
  }
};

// In words, where it takes no more than its own fields to tell.
std::string words_of(const What& what);

}  // namespace lab

#endif
