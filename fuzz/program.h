// The language of fuzz_daemon's inputs: the first byte chooses the mode, then step after step, each
// a code and what it needs. Seeds are written in it too.
#ifndef VORLENT_FUZZ_PROGRAM_H
#define VORLENT_FUZZ_PROGRAM_H

#include <cstdint>

enum Step : std::uint8_t {
  STEP_DATAGRAM,   // length 2, bytes
  STEP_PROBE,      // station 1, length 2, elements
  STEP_SCAN,       // channel 1, length 2, elements
  STEP_FRAME,      // station 1, operation 1, length 2, data
  STEP_SEALED,     // station 1, operation 1, length 2, content encrypted for the daemon
  STEP_SIGNALS,    // bits 1: 1 extend, 2 push
  STEP_PASS,       // seconds 1, times four
  STEP_NVRAM,      // setting 1, value 1
  STEP_EVENT,      // type 1, status 1, interface 1, length 2, data
  STEP_LOSE_FILE,  // which 1
  STEP_COUNT,
};

#endif
