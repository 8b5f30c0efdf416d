// What an access point's radio hears, through a monitor interface beside it: the access point
// itself keeps probe requests and public action frames to its own program.
#ifndef PLATFORM_LINUX_RADIO_MONITOR_H
#define PLATFORM_LINUX_RADIO_MONITOR_H

#include <pcap/pcap.h>

#include <functional>
#include <memory>
#include <string>

#include "../wire/bytes.h"

namespace radio {

struct ClosePcap {
  void operator()(pcap_t* capture) const { pcap_close(capture); }
};

class Monitor {
 public:
  // Captures on the monitor interface `name`; false with a text where that cannot be.
  [[nodiscard]] bool open(const char* name, std::string& why);
  void close() { capture_.reset(); }
  bool is_open() const { return capture_ != nullptr; }
  int fd() const { return capture_ ? pcap_get_selectable_fd(capture_.get()) : -1; }

  // Hands over what has come, each packet with its radiotap header; false where the interface is
  // gone.
  bool read(const std::function<void(View)>& take) const;

 private:
  std::unique_ptr<pcap_t, ClosePcap> capture_;
};

}  // namespace radio

#endif
