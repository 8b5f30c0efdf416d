#include "discovery/vendor_ie.h"

#include <algorithm>
#include <cstdio>

#include "core/log.h"

namespace {

constexpr std::size_t HEADER = 2;

bool starts_with(ByteView bytes, ByteView prefix) {
  return bytes.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

}  // namespace

ByteView first_tlv(ByteView list) {
  if (list.size() < HEADER || list.size() < HEADER + list[1]) {
    return {};
  }
  return list;
}

ByteView bcm_next_tlv(ByteView list) {
  return first_tlv(list.subspan(front_tlv(list).size()));
}

ByteView front_tlv(ByteView list) {
  return list.first(HEADER + list[1]);
}

ByteView find_vendor_ie(ByteView ies, const std::array<std::uint8_t, 3>& oui, ByteView type) {
  for (ByteView list = first_tlv(ies); !list.empty(); list = bcm_next_tlv(list)) {
    const ByteView elem = front_tlv(list);
    if (elem[0] == VENDOR_SPECIFIC && elem[1] > type.size() + 2 &&
        starts_with(elem.subspan(HEADER), oui) &&
        starts_with(elem.subspan(HEADER + oui.size()), type)) {
      return elem;
    }
  }
  return {};
}

int copy_plon_ie(ByteView elem, PelionIe& out) {
  std::array<std::uint8_t, PLON_IE_SIZE> bytes{};
  const ByteView present = clipped(elem, 0, bytes.size());
  std::copy(present.begin(), present.end(), bytes.begin());
  ByteReader reader(bytes);
  out.id = reader.u8();
  out.len = reader.u8();
  out.oui = reader.array<3>();
  out.reserved = reader.array<3>();
  out.version = reader.u8();
  out.prod_type = reader.u8();
  out.prod_id = reader.u8();
  out.ifname = reader.u8();
  out.plon_vie_data = reader.u8();
  return 0;
}

int check_plon_ie(const PelionIe& received, const PelionIe& expected) {
  ONBOARD_LOG("======== check Pelion IE ========\n");
  if (received.oui != PELION_OUI) {
    return 0;
  }
  ONBOARD_LOG("Match Pelion OUI.\n");
  if (received.prod_type != expected.prod_type) {
    ONBOARD_LOG("recv prod type: %02x\n", received.prod_type);
    ONBOARD_LOG("target prod type: %02x\n", expected.prod_type);
    return 0;
  }
  ONBOARD_LOG("Match prod type: %02x\n", received.prod_type);
  if (received.prod_id != expected.prod_id) {
    ONBOARD_LOG("recv prod id: %02x\n", received.prod_id);
    ONBOARD_LOG("target prod id: %02x\n", expected.prod_id);
    return 0;
  }
  ONBOARD_LOG("Match prod id: %02x\n", received.prod_id);
  if (received.plon_vie_data != expected.plon_vie_data) {
    ONBOARD_LOG("recv prod plon_vie_data: %02x\n", received.plon_vie_data);
    ONBOARD_LOG("target prod plon_vie_data: %02x\n", expected.plon_vie_data);
    return 0;
  }
  ONBOARD_LOG("Match prod plon_vie_data: %02x\n", received.plon_vie_data);
  ONBOARD_LOG("==================================\n");
  return 1;
}

bool is_advertised_by(const PelionIe& ie, std::uint8_t prod_id) {
  return ie.prod_type == PROD_TYPE_MESH && ie.prod_id == prod_id &&
         ie.plon_vie_data == VIE_DATA_ADVERTISED;
}

void dump_plon_ie(const PelionIe& ie) {
  ONBOARD_LOG("============Dump Pelion IE================\n");
  ONBOARD_LOG("id: %02x\nlen: %02x\n", ie.id, ie.len);
  ONBOARD_LOG("oui: %02x %02x %02x\n", ie.oui[0], ie.oui[1], ie.oui[2]);
  ONBOARD_LOG("reserved: %02x %02x %02x\n", ie.reserved[0], ie.reserved[1], ie.reserved[2]);
  ONBOARD_LOG("version: %02x\n", ie.version);
  ONBOARD_LOG("prod_type: %02x\n", ie.prod_type);
  ONBOARD_LOG("prod_id: %02x\n", ie.prod_id);
  ONBOARD_LOG("ifname: %02x\n", ie.ifname);
  ONBOARD_LOG("plon_vie_data: %02x\n", ie.plon_vie_data);
  ONBOARD_LOG("==========================================\n");
}

void log_ie_bytes(const char* speaker, ByteView elem) {
  ONBOARD_LOG_AS(speaker, "ie:");
  std::array<char, 3 * PLON_IE_SIZE + 1> text{};
  std::size_t at = 0;
  for (const std::uint8_t byte : clipped(elem, 0, PLON_IE_SIZE)) {
    (void)snprintf(&text[at], text.size() - at, "%02x ", byte);
    at += 3;
  }
  onboard_log_bare(text.data());
}
