// The driver event handlers by which base and un-configured unit find each other.
//
// The base watches probe requests for the unit's element and puts the sender into the candidate
// table; the unit watches scan results for the base's element and, at the first, goes to the base's
// channel and changes to the handshake. Whatever is short, or points outside the event's data, is
// passed over. An element whose body runs past the data ends the walk.
#ifndef VORLENT_DISCOVERY_PROBE_SCAN_H
#define VORLENT_DISCOVERY_PROBE_SCAN_H

#include "core/driver_event.h"

// The byte order of the driver's scan records: false as they come from a little-endian driver, true
// swapped. Nothing in the daemon sets it. The event message is big-endian either way.
extern bool gg_swap;

// Event handler of a base: probe requests on wl0, and action frames. Returns 0.
int router_register(const char* interface, const DriverEventMsg& event);

// Event handler of an un-configured unit: scan results on wl0. Returns 0.
int uncfg_register(const char* interface, const DriverEventMsg& event);

// Adds the sender `sta` of a probe request to the candidate table, once for each of its elements
// that is the unit's. Returns 0.
int parse_plon_ie_from_probe(const DriverEventMsg& event, const MacText& sta);

#endif
