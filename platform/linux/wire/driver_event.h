// The datagrams that tell the daemon what its radio has heard, as its driver would.
//
//   0   16  interface name, NUL-padded           16  14  Ethernet header, type 0x886C
//   30   2  subtype 0x8001                       32   2  length of what follows the next byte
//   34   1  version 0                            35   3  OUI 00:10:18
//   38   2  user subtype 1                       40  48  event message (below)   88  event data
//
//   event message: 0 version, 2 flags, 4 type, 8 status, 12 reason, 16 auth type, 20 data length,
//   24 peer address, 30 interface name, 46 interface index, 47 BSS index
//
// These numbers are big-endian. A scan result's data, whose numbers are little-endian:
//
//   0    4  length of all of it                    4    4  version of the record
//   8    2  which scan                            10    2  records that follow, 0 or 1
//   12 128  record: 0 version, 4 length with elements, 8 BSSID, 14 beacon interval, 16
//   capabilities,
//           18 SSID length, 19 SSID, 72 chanspec, 78 signal in dBm, 116 offset of the elements,
//           120 their length
//   140     the elements
#ifndef PLATFORM_LINUX_WIRE_DRIVER_EVENT_H
#define PLATFORM_LINUX_WIRE_DRIVER_EVENT_H

#include "bytes.h"
#include "frame.h"

namespace radio {

inline constexpr std::uint16_t kEventPort = 55688;

enum class ScanEnd : std::uint32_t { complete = 0, aborted = 4 };

struct Bss {
  Mac bssid{};
  int frequency = 0;
  unsigned beacon_interval = 0;
  unsigned capabilities = 0;
  int signal = 0;  // dBm
  View elements;
};

// A probe request with its whole frame, or an action frame's body, by what was heard.
Datagram heard_event(const Mac& own, const Heard& heard, int frequency);

// One BSS that a scan has found, with all its elements.
Datagram bss_event(const Mac& own, const Bss& bss);

// The scan is over.
Datagram scan_end_event(const Mac& own, ScanEnd end);

}  // namespace radio

#endif
