#include "discovery/probe_scan.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

#include "core/log.h"
#include "core/shell.h"
#include "discovery/candidate_table.h"
#include "discovery/target_base.h"
#include "discovery/vendor_ie.h"
#include "handshake/act_frame_parser.h"
#include "platform_onboarding.h"
#include "role/role_monitor.h"

bool gg_swap = false;

namespace {

// Probe request data: a 16-byte receive descriptor, the 24-byte management header, the elements.
constexpr std::size_t PROBE_ELEMENTS_AT = 40;

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

bool has_pelion_oui(ByteView elem) {
  return ByteReader(elem, 2).array<3>() == PELION_OUI;
}

void add_candidate(const MacText& sta) {
  CandidateEntry entry{};
  entry.mac = sta;
  update_candidate_table(candidate_table, entry);
  dump_current_support_list();
}

void examine_probe_element(ByteView elem, const MacText& sta) {
  constexpr const char* self = "parse_plon_ie_from_probe";
  onboard_log(self, __LINE__, "[Pelion OUI detect]\n");
  PelionIe ie{};
  copy_plon_ie(elem, ie);
  dump_plon_ie(ie);
  if (is_advertised_by(ie, PROD_ID_UNIT)) {
    onboard_log(self, __LINE__, "Receive Mesh onboarding Probe Request!!.\n");
    add_candidate(sta);
  }
}

void switch_to_channel(std::uint8_t channel) {
  std::array<char, 64> command{};
  (void)snprintf(command.data(), command.size(), "wl csa 0 5 %d", channel);
  onboard_log("uncfg_register", __LINE__, "%s\n", command.data());
  run_command(command.data());
}

void join_base(const MacText& bssid, std::uint16_t chanspec) {
  constexpr const char* self = "uncfg_register";
  onboard_log(self, __LINE__, "Found Mesh onboarding!!\n");
  onboard_log(self, __LINE__, "==========================================\n");
  set_target_base(bssid, static_cast<std::uint8_t>(chanspec & 0xFFU));
  dump_target_bss_info();
  switch_to_channel(context.target.channel);
  context.target_role = ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
  role_bakery();
}

// The base's element among the record's elements, or an empty view.
ByteView find_base_element(ByteView record, const BssRecord& bss) {
  const ByteView elements = ByteReader(record, bss.ie_offset).bytes(bss.ie_length);
  return find_vendor_ie(elements, PELION_OUI);
}

void examine_scan_record(ByteView record) {
  constexpr const char* self = "uncfg_register";
  const BssRecord bss = decode_record(record);
  MacText bssid{};
  ether_etoa(bss.bssid.data(), bssid.data());
  if (strncasecmp(bssid.data(), "FF:FF:FF:FF:FF:FF", 17) == 0) {
    onboard_log(self, __LINE__, "BSSID: %s, ignore it.\n", bssid.data());
    return;
  }
  onboard_log(self, __LINE__, "BSSID: %s chanspec: 0x%04x\n", bssid.data(), bss.chanspec);
  onboard_log(self, __LINE__, "pkt_len: %x ie length: %x ie_offset: %x \n\n", bss.length,
              bss.ie_length, bss.ie_offset);
  const ByteView elem = find_base_element(record, bss);
  if (elem.empty()) {
    return;
  }
  PelionIe ie{};
  copy_plon_ie(elem, ie);
  onboard_log(self, __LINE__, "============Got Pelion IE================\n");
  dump_plon_ie(ie);
  onboard_log(self, __LINE__, "==========================================\n");
  if (is_advertised_by(ie, PROD_ID_BASE)) {
    join_base(bssid, bss.chanspec);
  }
}

}  // namespace

int router_register(const char* interface, const DriverEventMsg& event) {
  const MacText sta = sta_text(event.addr);
  if (event.event_type == WLC_E_PROBE_REQUEST) {
    if (strncmp(interface, "wl0", 3) == 0 && !event.data.empty()) {
      parse_plon_ie_from_probe(event, sta);
    }
  } else if (event.event_type == WLC_E_ACTION_FRAME) {
    ONBOARD_LOG("[recved brcm event]: WLC_E_ACTION_FRAME on %s STA: %s\n", interface, sta.data());
    if (is_vendor_public_action(event.data)) {
      parse_act_frame(event, sta.data());
    }
  } else {
    ONBOARD_LOG("recved event type 0x%x on %s\n", event.event_type, interface);
  }
  return 0;
}

int parse_plon_ie_from_probe(const DriverEventMsg& event, const MacText& sta) {
  const ByteView elements = clipped(event.data, PROBE_ELEMENTS_AT);
  for (ByteView list = first_tlv(elements); !list.empty(); list = bcm_next_tlv(list)) {
    const ByteView elem = front_tlv(list);
    if (has_pelion_oui(elem)) {
      examine_probe_element(elem, sta);
    }
  }
  return 0;
}

int uncfg_register(const char* interface, const DriverEventMsg& event) {
  const MacText sta = sta_text(event.addr);
  if (event.event_type != WLC_E_ESCAN_RESULT) {
    return 0;
  }
  ONBOARD_LOG("recved brcm event: WLC_E_ESCAN_RESULT on %s STA: %s\n", interface, sta.data());
  if (strcmp(interface, "wl0") != 0) {
    ONBOARD_LOG("ignore escanresult from: %s\n", interface);
    return 0;
  }
  if (event.status != SCAN_COMPLETE && event.status != SCAN_PARTIAL) {
    return 0;
  }
  const ByteView record = clipped(event.data, SCAN_HEADER);
  if (record.size() >= RECORD_MIN) {
    examine_scan_record(record);
  }
  return 0;
}
