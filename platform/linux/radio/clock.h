// The clock of all that falls due.
#ifndef PLATFORM_LINUX_RADIO_CLOCK_H
#define PLATFORM_LINUX_RADIO_CLOCK_H

#include <chrono>

namespace radio {

using Clock = std::chrono::steady_clock;

}  // namespace radio

#endif
