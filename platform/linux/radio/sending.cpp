#include "sending.h"

#include <cstring>

#include "request_socket.h"

namespace radio {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kSendingsMax = 16;
constexpr int kTriesMax = 3;
constexpr milliseconds kPause{100};  // a peer that is just between two stays on its channel is back
constexpr Clock::time_point kUnderWay = Clock::time_point::max();

// False where it is over, with the answer given.
bool send(const Nl80211& kernel, Sending& sending) {
  ++sending.tries;
  sending.again = kUnderWay;
  const int result =
      kernel.send(sending.frame.view(), sending.frequency, sending.stay, sending.cookie);
  if (result != 0) {
    answer(sending.client, false, std::string("actframe: ") + strerror(-result));
  }
  return result == 0;
}

// False where it is over, with the answer given.
bool go_on(const Nl80211& kernel, Sending& sending, Clock::time_point now) {
  if (now >= sending.deadline) {
    answer(sending.client, false, "actframe: the driver does not say whether it was sent");
    return false;
  }
  return now < sending.again || send(kernel, sending);
}

}  // namespace

void start(Sendings& sendings, const Nl80211& kernel, Sending sending) {
  if (sendings.all.size() >= kSendingsMax) {
    answer(sending.client, false, "actframe: too many frames are on their way");
  } else if (send(kernel, sending)) {
    sendings.all.push_back(std::move(sending));
  }
}

void went_out(Sendings& sendings, std::uint64_t cookie, bool acknowledged) {
  sendings.acknowledged = sendings.acknowledged || acknowledged;
  for (auto it = sendings.all.begin(); it != sendings.all.end(); ++it) {
    if (it->cookie != cookie || it->again != kUnderWay) {
      continue;
    }
    if (!acknowledged && !it->to_group && sendings.acknowledged && it->tries < kTriesMax) {
      it->again = Clock::now() + kPause;
      return;
    }
    answer(it->client, true, acknowledged || it->to_group ? "" : "sent, and not acknowledged");
    sendings.all.erase(it);
    return;
  }
}

void look_after(Sendings& sendings, const Nl80211& kernel) {
  const Clock::time_point now = Clock::now();
  for (auto it = sendings.all.begin(); it != sendings.all.end();) {
    it = go_on(kernel, *it, now) ? it + 1 : sendings.all.erase(it);
  }
}

Clock::time_point next_due(const Sendings& sendings, Clock::time_point latest) {
  for (const Sending& sending : sendings.all) {
    latest = std::min({latest, sending.deadline, sending.again});
  }
  return latest;
}

}  // namespace radio
