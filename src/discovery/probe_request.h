// How a base finds un-configured units: it watches probe requests for the unit's element and puts
// the sender into the candidate table. What is short, or points outside the event's data, is passed
// over. An element whose body runs past the data ends the walk.
#ifndef VORLENT_DISCOVERY_PROBE_REQUEST_H
#define VORLENT_DISCOVERY_PROBE_REQUEST_H

#include "core/driver_event.h"

// Adds the sender `sta` of a probe request to the candidate table, once for each of its elements
// that is the unit's. Returns 0.
int parse_plon_ie_from_probe(const DriverEventMsg& event, const MacText& sta);

#endif
