// The role monitor: once per turn, should the unit change its mode? And the change itself.
//
// role_bakery is the one function that changes the mode. It is called from here, from an event
// handler or from a timer callback, so it may delete the very timer whose callback is running; the
// timer list is made for that. The monitors read NVRAM, which other programs of the platform write,
// and make at most one change a turn.
#ifndef VORLENT_ROLE_ROLE_MONITOR_H
#define VORLENT_ROLE_ROLE_MONITOR_H

#include "core/context.h"

// The check of each turn: a manual request first, then the check of the mode.
void dut_role_monitor();

// The checks of the modes: 0 and 1; 2; 3 and 4. That of mode 5 is onboarding_window_check.
void unconfigured_monitor();
void temp_router_monitor();
void temp_sat_monitor();

// Changes `cur_mode` to `target_role`: deletes the old mode's timer, enters the new mode and writes
// the configuration that goes with the change. Nothing happens when they are equal.
void role_bakery();

// Deletes the timer of the mode in `cur_mode`, and where the mode has none `mode_timer_fd`, if set.
void clear_timer();

// Writes the un-configured defaults, and ends the process after this turn when `flag` is not zero.
void restore_to_uncfg_mode(int flag);

// The handshake gave up: back to the search.
void timer_cb_act_handshake_expired(int timer_fd);

// What role_bakery does after entering a mode from `old_mode`; a column of the mode table.
void settle_unconfigured(OnboardMode old_mode);
void settle_temp_router(OnboardMode old_mode);
void settle_temp_satellite(OnboardMode old_mode);
void settle_temp_eth_satellite(OnboardMode old_mode);
void settle_base(OnboardMode old_mode);

#endif
