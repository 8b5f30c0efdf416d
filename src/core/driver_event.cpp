#include "core/driver_event.h"

#include <cstdio>

#include "core/log.h"

namespace {

constexpr std::size_t INTERFACE_SIZE = 16;
constexpr std::size_t ETHER_TYPE_AT = 28;
constexpr std::size_t SUBTYPE_AT = 30;
constexpr std::size_t MESSAGE_AT = 40;
constexpr std::size_t EVENT_TYPE_AT = MESSAGE_AT + 4;
constexpr std::size_t DATALEN_AT = MESSAGE_AT + 20;
constexpr std::size_t ADDR_AT = MESSAGE_AT + 24;
constexpr std::size_t IFNAME_AT = MESSAGE_AT + 30;
constexpr std::size_t EVENT_DATA_AT = MESSAGE_AT + 48;

constexpr std::uint32_t ETHER_TYPE = 0x886C;
constexpr std::uint32_t SUBTYPE_VENDOR = 0x8001;
constexpr std::uint32_t HEADER_LENGTH_MIN = 8;
constexpr std::uint32_t DRIVER_OUI = 0x001018;
constexpr std::uint32_t USR_SUBTYPE_EVENT = 1;
constexpr std::size_t MESSAGE_MIN = 74;  // behind the interface name: headers, message, two bytes

InterfaceName name_at(ByteView datagram, std::size_t offset) {
  InterfaceName name{};
  copy_text(name, clipped(datagram, offset, INTERFACE_SIZE));
  return name;
}

// The tests of the vendor header, behind the ether type, in their fixed order.
bool mevent_validate_wlpvt_message(ByteView datagram) {
  const std::size_t length =
      datagram.size() < INTERFACE_SIZE ? 0 : datagram.size() - INTERFACE_SIZE;
  if (length < MESSAGE_MIN) {
    ONBOARD_LOG("Invalid length of message\n");
    return false;
  }
  if (length < ByteReader(datagram, DATALEN_AT).be32()) {
    ONBOARD_LOG("Invalid datalen of message\n");
    return false;
  }
  const InterfaceName ifname = name_at(datagram, IFNAME_AT);
  ByteReader header(datagram, SUBTYPE_AT);
  if (header.be16() != SUBTYPE_VENDOR) {
    ONBOARD_LOG("%s: not vendor specifictype\n", ifname.data());
    return false;
  }
  const std::uint32_t header_length = header.be16();
  if (header.u8() != 0) {
    ONBOARD_LOG("%s: subtype header version mismatch\n", ifname.data());
    return false;
  }
  if (header_length < HEADER_LENGTH_MIN) {
    ONBOARD_LOG("%s: subtype hdr length not even minimum\n", ifname.data());
    return false;
  }
  if (header.be24() != DRIVER_OUI) {
    ONBOARD_LOG("%s: mevent_validate_wlpvt_message: not BRCM OUI\n", ifname.data());
    return false;
  }
  return header.be16() == USR_SUBTYPE_EVENT;  // other uses of the header carry no event
}

DriverEventMsg decode_message(ByteView datagram) {
  ByteReader type_and_status(datagram, EVENT_TYPE_AT);
  DriverEventMsg event{};
  event.event_type = type_and_status.be32();
  event.status = type_and_status.be32();
  event.addr = ByteReader(datagram, ADDR_AT).array<6>();
  event.data = clipped(datagram, EVENT_DATA_AT, ByteReader(datagram, DATALEN_AT).be32());
  return event;
}

}  // namespace

bool decode_driver_event(ByteView datagram, DriverEventDatagram& out) {
  const std::uint32_t ether_type = ByteReader(datagram, ETHER_TYPE_AT).be16();
  if (ether_type != ETHER_TYPE) {
    ONBOARD_LOG_AS(AS_EVENT_RECVR, "Unknown recved ether type %x\n", ether_type);
    return false;
  }
  if (!mevent_validate_wlpvt_message(datagram)) {
    return false;
  }
  out = DriverEventDatagram{.interface = name_at(datagram, 0), .event = decode_message(datagram)};
  return true;
}

MacText sta_text(const std::array<std::uint8_t, 6>& addr) {
  MacText text{};
  (void)snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", addr[0], addr[1],
                 addr[2], addr[3], addr[4], addr[5]);
  return text;
}
