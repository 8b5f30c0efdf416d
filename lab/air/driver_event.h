// The datagrams with which a radio's driver tells the daemon what it has heard.
//
//   0   16  interface name              16  14  Ethernet header, type 0x886C
//   30   2  subtype 0x8001              32   2  length of what follows the version byte's field
//   34   1  version 0                   35   3  OUI 00:10:18
//   38   2  user subtype 1              40  48  event message (below)        88  event data
//
//   event message: 0 version, 2 flags, 4 type, 8 status, 12 reason, 16 auth type, 20 data length,
//   24 peer address, 30 interface name, 46 interface index, 47 BSS index
//
// All numbers are big-endian; those of a scan record are little-endian, as the driver leaves them.
#ifndef LAB_DRIVER_EVENT_H
#define LAB_DRIVER_EVENT_H

#include "base/bytes.h"

namespace lab {

enum class EventType : std::uint32_t { probe_request = 44, action_frame = 59, scan_result = 69 };

inline constexpr std::uint32_t kScanDone = 0;
inline constexpr std::uint32_t kScanAborted = 4;
inline constexpr std::uint32_t kScanPartial = 8;

Bytes driver_event(EventType type, std::uint32_t status, const Mac& own, const Mac& peer,
                   View data);

// A received probe request: the driver's 16-byte receive descriptor, then the whole frame.
Bytes probe_data(int channel, View frame);

// A scan result: 12-byte header, then one BSS record that ends with the BSS's elements.
Bytes scan_data(const Mac& bssid, std::string_view ssid, int channel, View elements);

// What a scan's completion carries: the header alone, which counts no BSS.
Bytes scan_done_data();

}  // namespace lab

#endif
