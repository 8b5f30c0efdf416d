// The running daemon: which process it is, and whose.
#ifndef VORLENTCTL_DAEMON_PROCESS_H
#define VORLENTCTL_DAEMON_PROCESS_H

#include <sys/types.h>

#include <optional>
#include <string>

namespace ctl {

struct Found {
  std::optional<pid_t> daemon;
  std::string why_not;  // where there is none, in words
};

// The daemon by the file `pid_file` or, where that is empty, by the one that VORLENT_PID_FILE
// names, by its systemd unit, or by /var/run/vorlent.pid where there is no systemd. A process of
// another name is never taken for it, however the number came about.
Found find_daemon(const std::string& pid_file);

// The user whose process it is; none where it has ended.
std::optional<uid_t> user_of(pid_t daemon);

}  // namespace ctl

#endif
