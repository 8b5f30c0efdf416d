// How an un-configured unit finds its base: it watches scan results for the base's element and, at
// the first, joins it (join_base.h). What is short, or points outside the event's data, is passed
// over. An element whose body runs past the data ends the walk.
#ifndef VORLENT_DISCOVERY_SCAN_RESULT_H
#define VORLENT_DISCOVERY_SCAN_RESULT_H

#include "core/driver_event.h"

// The byte order of the driver's scan records: false as they come from a little-endian driver, true
// swapped. Nothing in the daemon sets it. The event message is big-endian either way.
extern bool gg_swap;

// Takes one scan result: at the base's element the unit joins the base. A status of neither a
// record nor the scan's end is passed over.
void examine_scan_result(const DriverEventMsg& event);

#endif
