// The un-configured unit's search: a scan every 5 seconds for 30 minutes.
//
// The results do not come back through the utility's output but as driver events, which
// discovery/scan_result.h looks at.
#ifndef VORLENT_ROLE_SEARCH_H
#define VORLENT_ROLE_SEARCH_H

// Starts one scan. Returns the shell's status, which nobody reads.
int vorlent_ie_scan();

// Ends the search: publishes it in NVRAM and forgets the timer, which the timer list removes.
// The unit's element stays on the air.
void timer_cb_mesh_ie_scan_expired(int timer);

// Arms the search's timer. Returns its descriptor, or -1.
int start_search_timer();

#endif
