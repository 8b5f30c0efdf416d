// One unit's radio: what it carries, where it is, and what is under way.
#ifndef PLATFORM_LINUX_RADIO_RADIO_H
#define PLATFORM_LINUX_RADIO_RADIO_H

#include <optional>
#include <string>
#include <string_view>

#include "../places.h"
#include "../wire/request.h"
#include "hostapd_control.h"
#include "monitor.h"
#include "nl80211.h"
#include "request_socket.h"
#include "sending.h"
#include "staying.h"
#include "unique_fd.h"

namespace radio {

// Where things are, as the command line says.
struct Places {
  std::string interface;
  std::string socket = kRadioSocket;
  std::string hostapd = kHostapdSockets;  // the folder of its control sockets
};

struct Radio {
  Places places;
  Nl80211 kernel;
  Interface interface;
  Monitor monitor;
  Hostapd hostapd;
  UniqueFd daemon;  // the event port
  Elements elements;
  Clock::time_point next_look{};
  Staying staying;
  Sendings sendings;
  Mac last_from{};
  unsigned last_sequence = 0;
  bool monitor_refused = false;  // which was said
  bool scanning = false;
  bool gone = false;  // the interface does not exist any more
};

// Opens the interface and the way to the daemon.
[[nodiscard]] bool open(Radio& radio, std::string& why);

// Takes away what it has added to the kernel and to hostapd.
void close(Radio& radio);

// What the air and the kernel bring, for the daemon (hearing.cpp).
void heard(Radio& radio, View frame, int frequency);
void noticed(Radio& radio, const Notification& notice);

// Does what is due: looks whether an access point came or went, renews a stay, gives up on what the
// driver does not report.
void look_after(Radio& radio);
Clock::time_point next_due(const Radio& radio);

// Serves one request of `wl`, and answers it now or when it is known what came of it (serve.cpp).
void serve(Radio& radio, UniqueFd client, std::string_view message);

}  // namespace radio

#endif
