// The un-configured unit's search cycle and the watchdogs of the temporary modes: what the periodic
// timer of a mode does.
//
// The search scans every 5 seconds for 30 minutes. The results do not come back through the
// utility's output but as driver events. The watchdogs count consecutive failures; what follows
// from a count is the role monitor's business. A mode entry resets neither count: only a check that
// succeeds does.
#ifndef VORLENT_ROLE_SEARCH_H
#define VORLENT_ROLE_SEARCH_H

// Starts one scan. Returns the shell's status, which nobody reads.
int vorlent_ie_scan();

// Ends the search: publishes it in NVRAM and forgets the timer, which the timer list removes.
// The unit's element stays on the air.
void timer_cb_mesh_ie_scan_expired(int timer);

// Checks the WAN of a temporary router or base and counts or clears `wan_fail_count`.
void check_Internet_conn();

// Checks the backhaul of a temporary satellite and counts or clears `bh_fail_count`.
void check_bh_conn();

// Each arms the periodic timer of a mode and returns its descriptor.
int start_search_timer();
int start_internet_watchdog();
int start_backhaul_watchdog();

#endif
