#include "discovery/scan_result.h"

#include <strings.h>

#include "core/log.h"
#include "discovery/join_base.h"
#include "discovery/vendor_ie.h"
#include "platform_onboarding.h"

bool gg_swap = false;

namespace {

// Scan result data: a 12-byte header that is not read, then the record of one BSS. Offsets are from
// the record's start; the numbers are in the driver's byte order.
//
//     4  4  length     bytes of the record, elements included; logged
//     8  6  BSSID
//    72  2  chanspec   channel number in the low 8 bits, band and bandwidth above
//   116  2  ie_offset  of the elements, from the record's start
//   120  4  ie_length  bytes of elements
constexpr std::size_t SCAN_HEADER = 12;
constexpr std::size_t RECORD_MIN = 124;

constexpr std::uint32_t SCAN_COMPLETE = 0;
constexpr std::uint32_t SCAN_PARTIAL = 8;

struct BssRecord {
  std::uint32_t length;
  std::array<std::uint8_t, 6> bssid;
  std::uint16_t chanspec;
  std::uint16_t ie_offset;
  std::uint32_t ie_length;
};

std::uint16_t driver_u16(ByteView record, std::size_t offset) {
  ByteReader reader(record, offset);
  return gg_swap ? reader.be16() : reader.le16();
}

std::uint32_t driver_u32(ByteView record, std::size_t offset) {
  ByteReader reader(record, offset);
  return gg_swap ? reader.be32() : reader.le32();
}

BssRecord decode_record(ByteView record) {
  return BssRecord{.length = driver_u32(record, 4),
                   .bssid = ByteReader(record, 8).array<6>(),
                   .chanspec = driver_u16(record, 72),
                   .ie_offset = driver_u16(record, 116),
                   .ie_length = driver_u32(record, 120)};
}

// The base's element among the record's elements, or an empty view.
ByteView find_base_element(ByteView record, const BssRecord& bss) {
  const ByteView elements = ByteReader(record, bss.ie_offset).bytes(bss.ie_length);
  return find_vendor_ie(elements, PELION_OUI);
}

void examine_scan_record(ByteView record) {
  const BssRecord bss = decode_record(record);
  MacText bssid{};
  ether_etoa(bss.bssid.data(), bssid.data());
  if (strncasecmp(bssid.data(), "FF:FF:FF:FF:FF:FF", 17) == 0) {
    ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "BSSID: %s, ignore it.\n", bssid.data());
    return;
  }
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "BSSID: %s chanspec: 0x%04x\n", bssid.data(), bss.chanspec);
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "pkt_len: %x ie length: %x ie_offset: %x \n\n", bss.length,
                 bss.ie_length, bss.ie_offset);
  const ByteView elem = find_base_element(record, bss);
  if (elem.empty()) {
    return;
  }
  PelionIe ie{};
  copy_plon_ie(elem, ie);
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "============Got Pelion IE================\n");
  dump_plon_ie(ie);
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "==========================================\n");
  if (is_advertised_by(ie, PROD_ID_BASE)) {
    join_base(bssid, bss.chanspec);
  }
}

}  // namespace

void examine_scan_result(const DriverEventMsg& event) {
  if (event.status != SCAN_COMPLETE && event.status != SCAN_PARTIAL) {
    return;
  }
  const ByteView record = clipped(event.data, SCAN_HEADER);
  if (record.size() >= RECORD_MIN) {
    examine_scan_record(record);
  }
}
