// What the fuzz targets share: a daemon that starts in no time, and what must hold after each step.
//
// The daemon is all of the product but main(), between the tests' fake platform and a socket pair.
// Its key pair is a fixed one, the same in each process and known to everybody, since making one
// takes longer than a hundred inputs and a crash must come again on another machine.
#ifndef VORLENT_FUZZ_HARNESS_H
#define VORLENT_FUZZ_HARNESS_H

#include "core/bytes.h"
#include "core/context.h"
#include "support/air.h"

using air::operator+;

// Ends the process, with the text, unless `holds`.
void require(bool holds, const char* what);

// Starts the daemon in `mode` with empty settings, or as a new process with those of the last.
void boot(OnboardMode mode);
void restart();

// Sends one datagram through the event receiver, then takes a turn of role monitor and timers.
void receive(const air::Bytes& datagram);
void take_turn();

// `plain` encrypted with the daemon's public key, as a peer does.
air::Bytes sealed(ByteView plain);

// Takes an input apart; where it ends, so does what is taken.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}
  [[nodiscard]] bool done() const { return rest_.empty(); }
  std::uint8_t u8() { return done() ? std::uint8_t{0} : take(1)[0]; }
  air::Bytes take(std::size_t size) {
    const ByteView taken = clipped(rest_, 0, size);
    rest_ = rest_.subspan(taken.size());
    return {taken.begin(), taken.end()};
  }
  air::Bytes sized() {
    const std::size_t high = u8();
    return take(high << 8U | u8());
  }

 private:
  ByteView rest_;
};

// The steps of a program for fuzz_daemon, each a byte and its arguments; sized: two bytes of length
// and as many bytes.
enum Step : std::uint8_t {
  DATAGRAM,      // sized datagram
  EVENT,         // type, station, interface, status, sized data
  ACTION_FRAME,  // last digit of the operation, station, sized data
  SEALED_FRAME,  // the same, its data encrypted with the daemon's key
  PROBE,         // station, sized elements
  SCAN,          // channel, sized elements
  SIGNALS,       // bit 0 push, bit 1 extend
  CLOCK,         // seconds
  SETTING,       // key, value
  START,         // mode; 0 to 3: 0, 1, 2, 5; others: a restart
  STEP_COUNT
};

#endif
