#include "staying.h"

#include <algorithm>
#include <cstring>

#include "journal.h"

namespace radio {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLate{300};  // the end of a stay was not told, or a new one is refused

// A stay begins when the one before has ended: the kernel queues one that is asked for earlier, and
// where it plays stays in software leaves the channel for half a second between the two.
void renew(Staying& staying, const Nl80211& kernel) {
  const int result = kernel.stay_on(staying.frequency, staying.cookie);
  if (result != 0 && result != staying.told_error) {
    say("channel %d cannot be kept: %s", channel_of(staying.frequency), strerror(-result));
  }
  staying.told_error = result;
  staying.next = Clock::now() + milliseconds(result == 0 ? kernel.longest_stay() : 0) + kLate;
}

}  // namespace

void stay(Staying& staying, int frequency) {
  staying.frequency = frequency;
  staying.next = Clock::now();
}

void stop(Staying& staying, const Nl80211& kernel) {
  if (staying.frequency != 0) {
    kernel.leave(staying.cookie);
    staying.frequency = 0;
  }
}

void ended(Staying& staying, std::uint64_t cookie) {
  if (staying.frequency != 0 && cookie == staying.cookie) {
    staying.next = Clock::now();
  }
}

void look_after(Staying& staying, const Nl80211& kernel) {
  if (staying.frequency != 0 && Clock::now() >= staying.next) {
    renew(staying, kernel);
  }
}

Clock::time_point next_due(const Staying& staying, Clock::time_point latest) {
  return staying.frequency == 0 ? latest : std::min(latest, staying.next);
}

}  // namespace radio
