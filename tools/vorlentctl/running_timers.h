// How long the running daemon's timers still have.
#ifndef VORLENTCTL_RUNNING_TIMERS_H
#define VORLENTCTL_RUNNING_TIMERS_H

#include <sys/types.h>

#include <optional>

namespace ctl {

// Seconds until the one timer of the daemon that expires once and not again: the base's window, or
// a unit's wait for its credentials. The kernel tells it of every open timer, so that the daemon
// has to tell nobody; none where there is no such timer or the process is somebody else's.
std::optional<long> seconds_left(pid_t daemon);

}  // namespace ctl

#endif
