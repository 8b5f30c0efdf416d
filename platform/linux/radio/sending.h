// The action frames on their way, and who waits to hear what became of each.
#ifndef PLATFORM_LINUX_RADIO_SENDING_H
#define PLATFORM_LINUX_RADIO_SENDING_H

#include <vector>

#include "clock.h"
#include "nl80211.h"
#include "unique_fd.h"

namespace radio {

struct Sending {
  UniqueFd client;
  Datagram frame;
  bool to_group;  // nobody acknowledges that
  int frequency;
  int stay;  // ms there, for the answer
  Clock::time_point deadline;
  std::uint64_t cookie = 0;
  int tries = 0;
  Clock::time_point again{};  // when it goes out once more, where no try is under way
};

struct Sendings {
  std::vector<Sending> all;
  bool acknowledged = false;  // once, so that this hardware reports it
};

// Hands the frame to the kernel; the client is answered when it is known what came of it.
void start(Sendings& sendings, const Nl80211& kernel, Sending sending);

// A frame went out.
void went_out(Sendings& sendings, std::uint64_t cookie, bool acknowledged);

// Sends again what nobody has acknowledged, and gives up on what the driver does not report.
void look_after(Sendings& sendings, const Nl80211& kernel);
Clock::time_point next_due(const Sendings& sendings, Clock::time_point latest);

}  // namespace radio

#endif
