// The change of the unit's role: out of the old mode, into the new one, and the configuration that
// goes with it.
//
// role_bakery is the one function that changes the mode. The role monitor, an event handler and a
// timer callback call it, so it may delete the very timer whose callback is running; the timer list
// is made for that.
#ifndef VORLENT_ROLE_ROLE_CHANGE_H
#define VORLENT_ROLE_ROLE_CHANGE_H

#include "core/context.h"

// Changes `cur_mode` to `target_role`: deletes the old mode's timer, enters the new mode and writes
// the configuration that goes with the change. Nothing happens when they are equal.
void role_bakery();

// Writes the mode's digit to NVRAM `onboarding_role` and runs its entry routine; does nothing for a
// value that is not a mode. Returns 0.
int enter_cur_mode();

// Deletes the timer of the mode in `cur_mode`, and where the mode has none `mode_timer_fd`, if set.
void clear_timer();

// Writes the un-configured defaults, and ends the process after this turn when `flag` is not zero.
void restore_to_uncfg_mode(int flag);

// What role_bakery does after entering a mode from `old_mode`; a column of the mode table.
void settle_unconfigured(OnboardMode old_mode);
void settle_temp_router(OnboardMode old_mode);
void settle_temp_satellite(OnboardMode old_mode);
void settle_temp_eth_satellite(OnboardMode old_mode);
void settle_base(OnboardMode old_mode);

#endif
