// The role monitor: once per turn, should the unit change its mode?
//
// It reads NVRAM, which other programs of the platform write, and the watchdogs' counts, and makes
// at most one change a turn. role_change.h makes it.
#ifndef VORLENT_ROLE_ROLE_MONITOR_H
#define VORLENT_ROLE_ROLE_MONITOR_H

// The check of each turn: a manual request first, then the check of the mode.
void dut_role_monitor();

// The checks of the modes: 0 and 1; 2; 3 and 4. That of mode 5 is onboarding_window_check.
void unconfigured_monitor();
void temp_router_monitor();
void temp_sat_monitor();

#endif
