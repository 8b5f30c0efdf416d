/* The page that the laboratory shares with the time-lapse library inside each unit: how the units'
 * monotonic clock follows the machine's. The writer makes `sequence` odd, changes the rest and
 * makes it even again; a reader that saw it odd or changed reads again.
 *
 *   the unit's time = virtual_base + (the machine's time - real_base) * rate */
#ifndef LAB_SHARED_CLOCK_H
#define LAB_SHARED_CLOCK_H

#include <stdint.h>

struct shared_clock {
  uint32_t sequence;
  int32_t rate;
  int64_t real_base;    /* nanoseconds */
  int64_t virtual_base; /* nanoseconds */
};

#endif
