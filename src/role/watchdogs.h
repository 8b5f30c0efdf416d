// The watchdogs of the temporary modes: of a router's or base's WAN, and of a satellite's backhaul,
// looked at after 20 seconds and then every 15.
//
// They count consecutive failures, and say which is one too many; the role monitor then goes back
// to the search. A mode entry resets neither count: only a check that succeeds does.
#ifndef VORLENT_ROLE_WATCHDOGS_H
#define VORLENT_ROLE_WATCHDOGS_H

#include <cstdint>

// Checks the WAN of a temporary router or base and counts or clears `wan_fail_count`.
void check_Internet_conn();

// Checks the backhaul of a temporary satellite and counts or clears `bh_fail_count`.
void check_bh_conn();

// True from the tenth failed check in a row on.
bool failed_too_often(std::uint32_t count);

// Each arms the watchdog's timer. Returns its descriptor, or -1.
int start_internet_watchdog();
int start_backhaul_watchdog();

#endif
