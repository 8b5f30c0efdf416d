// What the fuzz targets share: a daemon that starts in no time, and what must hold after each step.
//
// The daemon is all of the product but main(), between the tests' fake platform and a socket pair.
// Its key pair is a fixed one, since making one takes longer than a hundred inputs and a crash must
// come again on another machine.
#ifndef VORLENT_FUZZ_HARNESS_H
#define VORLENT_FUZZ_HARNESS_H

#include "core/bytes.h"
#include "core/context.h"
#include "support/air.h"

using air::Bytes;
using air::operator+;

// Ends the process, with the text, unless `holds`.
void require(bool holds, const char* what);

// Starts the daemon in `mode` with empty settings, or as a new process with those of the last.
void boot(OnboardMode mode);
void restart();

// Sends one datagram through the event receiver, then takes a turn of role monitor and timers.
void receive(const Bytes& datagram);
void take_turn();

// `plain` encrypted with the daemon's public key, as a peer does.
Bytes sealed(ByteView plain);

#endif
