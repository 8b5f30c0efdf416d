// The kernel's 802.11 stack as the radio needs it, over netlink: one wireless interface, its scans,
// its stays on a channel and its action frames.
#ifndef PLATFORM_LINUX_RADIO_NL80211_H
#define PLATFORM_LINUX_RADIO_NL80211_H

#include <netlink/socket.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../wire/driver_event.h"

struct nl_msg;
struct nlattr;

namespace radio {

struct Interface {
  bool access_point = false;
  bool high_throughput = false;  // 802.11n or newer
  unsigned phy = 0;
  Mac address{};
  int frequency = 0;  // that it is on; 0 where it is on none of its own
};

// `wanted`: a scan has begun, or an association; ours too.
enum class Notice { scan_done, scan_aborted, sent, stay_ended, wanted, frame };

struct Notification {
  Notice what;
  std::uint64_t cookie = 0;  // of a frame that was sent, or of a stay
  bool acknowledged = false;
  View frame;
  int frequency = 0;
};

struct FreeNlSocket {
  void operator()(nl_sock* socket) const { nl_socket_free(socket); }
};
using NlSocket = std::unique_ptr<nl_sock, FreeNlSocket>;

class Nl80211 {
 public:
  // Finds the interface; false with a text for a person where that cannot be.
  [[nodiscard]] bool open(const std::string& interface, std::string& why);

  std::optional<Interface> interface() const;

  // Those of usable_channels.h, of all bands.
  std::vector<int> usable_frequencies() const;

  // The rest return 0, or an error number, negative.
  int listen_for_actions() const;  // on an interface that is no access point
  int scan(View elements, const std::vector<int>& frequencies) const;
  void abort_scan() const;
  void for_each_bss(const std::function<void(const Bss&)>& take) const;
  int stay_on(int frequency, std::uint64_t& cookie) const;
  void leave(std::uint64_t cookie) const;
  // Remains there for `stay` ms, for the answer; 0 where the radio is there anyway.
  int send(View frame, int frequency, int stay, std::uint64_t& cookie) const;
  int add_monitor(const char* name) const;
  void remove(const char* name) const;

  int event_fd() const { return nl_socket_get_fd(events_.get()); }
  void read_events(const std::function<void(const Notification&)>& take) const;
  int longest_stay() const { return longest_stay_; }  // ms

 private:
  class Message;
  static int request_on(nl_sock* socket, Message& message,
                        const std::function<void(nlattr**)>& answer = nullptr);
  int request(Message& message, const std::function<void(nlattr**)>& answer = nullptr) const;
  bool join_groups() const;
  void read_limits();

  NlSocket commands_;
  NlSocket events_;
  int family_ = 0;
  int index_ = 0;
  int longest_stay_ = 0;
};

// Brings a network interface up, or down; 0 or an error number, negative.
int set_up(const std::string& interface, bool up);

}  // namespace radio

#endif
