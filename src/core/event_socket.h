// The driver event socket: UDP on 127.0.0.1, where the platform's event forwarder sends each event
// of the wireless driver. One datagram is taken per turn of the main loop, checked, and handed to
// the handler of the mode. The daemon never sends on it.
#ifndef VORLENT_CORE_EVENT_SOCKET_H
#define VORLENT_CORE_EVENT_SOCKET_H

#include <sys/time.h>

#include <cstdint>

#include "core/context.h"

inline constexpr std::uint16_t EVENT_PORT = 55688;

// Opens and binds the socket and stores its descriptor in `fd`. The receive buffer asks for 1 MiB,
// enough for a thousand events of up to some 600 bytes while a shell command holds the loop; a
// refusal is no failure. Returns 0, or the errno value of the step that failed, with a line in the
// log.
int open_eventfd(int& fd);

// Closes the socket and sets `fd` to -1. Returns 0, or what the status query gave when `fd` is not
// open.
int close_eventfd(int& fd);

// Waits up to `timeout` for one datagram and hands it to the handler of `mode`; the system may
// change `timeout`. Returns 0 when a datagram was handed on, the mode takes none, or the wait found
// nothing readable; -1 on time-out, interruption, a receive failure, an invalid datagram or an
// unknown mode.
int event_recvr(OnboardMode mode, int fd, timeval& timeout);

#endif
