// The channel on which a radio without an access point stays, to be heard where its base is. The
// kernel grants a few seconds at a time.
#ifndef PLATFORM_LINUX_RADIO_STAYING_H
#define PLATFORM_LINUX_RADIO_STAYING_H

#include "clock.h"
#include "nl80211.h"

namespace radio {

struct Staying {
  int frequency = 0;  // MHz; 0: wherever the kernel likes
  std::uint64_t cookie = 0;
  int told_error = 0;
  Clock::time_point next;  // when a new stay is asked for
};

// Stays on the channel from the next look_after on.
void stay(Staying& staying, int frequency);

// Leaves the channel, if it stays on one.
void stop(Staying& staying, const Nl80211& kernel);

// The kernel tells that a stay is over.
void ended(Staying& staying, std::uint64_t cookie);

// Asks for a new stay where one is due.
void look_after(Staying& staying, const Nl80211& kernel);
Clock::time_point next_due(const Staying& staying, Clock::time_point latest);

}  // namespace radio

#endif
