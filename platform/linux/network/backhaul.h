// How a satellite's backhaul stands, and what the daemon is told of it.
#ifndef PLATFORM_LINUX_NETWORK_BACKHAUL_H
#define PLATFORM_LINUX_NETWORK_BACKHAUL_H

#include <chrono>
#include <cstddef>  // the header below needs it
#include <memory>
#include <string>

#include <wpa_ctrl.h>

namespace network {

using Clock = std::chrono::steady_clock;

struct CloseControl {
  void operator()(wpa_ctrl* control) const { wpa_ctrl_close(control); }
};

class Supplicant {
 public:
  // Whether wpa_supplicant has joined its network, as it says itself.
  bool joined(const std::string& interface);
  void forget() { control_.reset(); }

 private:
  std::unique_ptr<wpa_ctrl, CloseControl> control_;
};

// A backhaul that has stood for this long has come to stay: the unit is installed then.
inline constexpr std::chrono::seconds kStands{10};

struct Backhaul {
  bool stands = false;
  Clock::time_point since;
};

// Writes what has changed into NVRAM.
void follow(Backhaul& backhaul, bool joined, Clock::time_point now);

}  // namespace network

#endif
