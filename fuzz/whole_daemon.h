// A whole daemon between the tests' fakes, to be driven step by step, with the invariants that have
// to hold after each.
#ifndef VORLENT_FUZZ_WHOLE_DAEMON_H
#define VORLENT_FUZZ_WHOLE_DAEMON_H

#include "core/context.h"
#include "support/air.h"

// Starts it afresh in a mode.
void start_daemon(OnboardMode mode);

// One datagram through the event receiver.
void deliver(const air::Bytes& datagram);

// `plain` in blocks, encrypted with the daemon's own public key, which it sends to everyone.
air::Bytes seal(air::Bytes plain);

// A turn of role monitor and timers for each second. Starts the daemon again if it asked for it.
void pass_seconds(int seconds);

// Aborts with a message when an invariant is broken.
void check_invariants();

#endif
