// The layout of a driver event datagram, its validation, and the record that handlers receive.
//
// The platform's event forwarder sends each event of the wireless driver as one UDP datagram: the
// name of the interface, an ether header, the driver vendor's header, the event message and the
// event's data. All numbers are big-endian. Offsets are from the start of the datagram.
//
//   0   16  interface name, NUL-padded
//   16   6  destination MAC           not read
//   22   6  source MAC                not read
//   28   2  ether type                0x886C
//   30   2  subtype                   0x8001, vendor specific
//   32   2  length                    at least 8
//   34   1  version                   0
//   35   3  oui                       00:10:18
//   38   2  usr_subtype               1, driver event
//   40  48  event message, offsets from its own start:
//             0  2 version, 2 2 flags not read
//             4  4 event_type
//             8  4 status
//            12  4 reason, 16 4 auth type not read
//            20  4 datalen            bytes of event data
//            24  6 addr               the peer station or BSS
//            30 16 ifname             the driver's interface name
//            46  1 interface index, 47 1 BSS configuration index not read
//   88      event data
//
// Decoding copies what is used; only `data` still points into the receive buffer, and it ends where
// the received bytes end, whatever datalen claims. So bytes that an earlier datagram left in the
// buffer never reach a handler.
#ifndef VORLENT_CORE_DRIVER_EVENT_H
#define VORLENT_CORE_DRIVER_EVENT_H

#include <array>
#include <cstdint>

#include "core/bytes.h"
#include "core/context.h"

inline constexpr std::uint32_t WLC_E_PROBE_REQUEST = 44;
inline constexpr std::uint32_t WLC_E_ACTION_FRAME = 59;
inline constexpr std::uint32_t WLC_E_ESCAN_RESULT = 69;

inline constexpr std::size_t DATAGRAM_MAX = 4096;  // longer ones are cut

inline constexpr const char* AS_EVENT_RECVR = "event_recvr";  // what speaks of events in the log

using InterfaceName = std::array<char, 17>;  // 16 bytes of the datagram and a NUL

struct DriverEventMsg {
  std::uint32_t event_type;
  std::uint32_t status;
  std::array<std::uint8_t, 6> addr;
  ByteView data;  // the event's data as far as it was received
};

struct DriverEventDatagram {
  InterfaceName interface;
  DriverEventMsg event;
};

// The interface name that heads the datagram and its event are valid until the handler returns.
using EventHandler = int (*)(const char* interface, const DriverEventMsg& event);

// Checks a received datagram: ether type, lengths, then the driver vendor's header, each failure
// with its message in the log. Returns true when `out` was filled.
[[nodiscard]] bool decode_driver_event(ByteView datagram, DriverEventDatagram& out);

// A station's MAC address as the candidate table and the action frame commands use it: lower case.
MacText sta_text(const std::array<std::uint8_t, 6>& addr);

#endif
