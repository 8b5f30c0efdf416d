// The shape of the mode table: all that depends on the mode, one row for each.
//
// The core declares the row and looks it up; src/modes.cpp, above everything, fills the table. So
// the core, the role monitor and the dispatch of frames never name a mode's routines, and nobody
// switches on the mode.
#ifndef VORLENT_CORE_MODE_TABLE_H
#define VORLENT_CORE_MODE_TABLE_H

#include <cstdint>
#include <span>

#include "core/context.h"
#include "core/driver_event.h"

struct ActionFramePayload;

// Serves one received handshake operation; `sta` is the sender's STA text.
using OperationHandler = int (*)(const ActionFramePayload& payload, const char* sta);

struct Operation {
  std::uint16_t attr_id;
  OperationHandler handler;
};

struct ModeRow {
  OnboardMode mode;
  const char* onboarding_role;            // NVRAM value written on entry
  int (*entry)();                         // or none
  EventHandler event_handler;             // or none: driver events are dropped
  std::span<const Operation> operations;  // empty: action frames are ignored
  void (*monitor)();                      // the role monitor's check of each turn, or none
  void (*settle)(OnboardMode old_mode);   // configuration written after the entry, or none
  void (*rearm)();    // makes the timer, on entry and when the system has refused it, or none
  int* timer;         // descriptor of the timer that leaving the mode deletes
  bool timer_unsaid;  // leaving it says that no timer is alive, whatever there is to delete
  void (*resumed)();  // says that a unit not yet installed starts in this mode again; none: it
                      // starts anew
};

// The row of a mode, or none for a value that is not a mode.
const ModeRow* mode_row(OnboardMode mode);

#endif
