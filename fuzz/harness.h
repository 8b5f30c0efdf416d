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

// The steps of a program for fuzz_daemon, each a byte and its arguments; "sized" is two bytes of
// length and as many bytes.
enum Step : std::uint8_t {
  DATAGRAM,  // sized datagram
  EVENT,     // type, station, sized data
  PROBE,     // 0, station, sized elements
  SCAN,      // channel, 0, sized elements
  FRAME,     // last digit of the operation, station, sized data
  SEALED,    // the same, its data encrypted with the daemon's key
  CONTROL,   // 0 to 3 start in mode 0, 1, 2, 5; 4 restart; 5 push; 6 extend; more: so many seconds
  SETTING,   // sized "key=value"
};

#endif
