// The channels on which one may send without having heard anybody: neither forbidden nor watched
// for radar, nor only listened to.
#ifndef PLATFORM_LINUX_RADIO_USABLE_CHANNELS_H
#define PLATFORM_LINUX_RADIO_USABLE_CHANNELS_H

#include <vector>

struct nlattr;

namespace radio {

// Adds the frequencies of one band on which one may.
void collect_frequencies(const nlattr* band, std::vector<int>& out);

}  // namespace radio

#endif
