#include "driver_event.h"

namespace radio {

namespace {

constexpr std::string_view kInterface = "wl0";
constexpr std::uint32_t kProbeRequestEvent = 44;
constexpr std::uint32_t kActionFrame = 59;
constexpr std::uint32_t kScanResult = 69;
constexpr std::uint32_t kPartial = 8;  // status of a result that is one of several
constexpr unsigned kRecordVersion = 109;
constexpr std::size_t kScanHeader = 12;
constexpr std::size_t kRecord = 128;  // before its elements

// Band, bandwidth (20 MHz) and number, as the driver packs them.
unsigned chanspec(int frequency) {
  return (frequency < 5000 ? 0x1000U : 0xd000U) | static_cast<unsigned>(channel_of(frequency));
}

Datagram begin(std::uint32_t type, std::uint32_t status, const Mac& own, const Mac& peer,
               std::size_t data) {
  Datagram out;
  out.put_text(kInterface, 16);
  out.put(own);
  out.put(own);
  out.put_be16(0x886c);
  out.put_be16(0x8001);
  out.put_be16(static_cast<unsigned>(54 + data) & 0xffff);
  out.put8(0);
  out.put8(0x00), out.put8(0x10), out.put8(0x18);
  out.put_be16(1);
  out.put_be16(2);  // version of the message
  out.put_be16(0);
  out.put_be32(type);
  out.put_be32(status);
  out.put_zeros(8);
  out.put_be32(static_cast<std::uint32_t>(data));
  out.put(peer);
  out.put_text(kInterface, 16);
  out.put_zeros(2);
  return out;
}

void put_scan_header(Datagram& out, std::size_t record, unsigned count) {
  out.put_le32(static_cast<std::uint32_t>(kScanHeader + record));
  out.put_le32(kRecordVersion);
  out.put_le16(1);
  out.put_le16(count);
}

// The SSID is the body of the first element with the number 0; an access point may hide it.
std::string_view ssid_in(View elements) {
  while (elements.size() >= 2 && elements.size() >= elements[1] + 2U) {
    if (elements[0] == 0) {
      const View body = slice(elements, 2, std::min<std::size_t>(elements[1], 32));
      return {reinterpret_cast<const char*>(body.data()), body.size()};
    }
    elements = slice(elements, elements[1] + 2U);
  }
  return {};
}

}  // namespace

Datagram heard_event(const Mac& own, const Heard& heard, int frequency) {
  if (heard.kind == FrameKind::action) {
    Datagram out = begin(kActionFrame, 0, own, heard.from, heard.body.size());
    out.put(heard.body);
    return out;
  }
  Datagram out = begin(kProbeRequestEvent, 0, own, heard.from, 16 + heard.frame.size());
  out.put_be16(1);  // the driver's receive descriptor
  out.put_be16(chanspec(frequency));
  out.put_zeros(12);
  out.put(heard.frame);
  return out;
}

Datagram bss_event(const Mac& own, const Bss& bss) {
  const std::size_t record = kRecord + bss.elements.size();
  const std::string_view ssid = ssid_in(bss.elements);
  Datagram out = begin(kScanResult, kPartial, own, bss.bssid, kScanHeader + record);
  put_scan_header(out, record, 1);
  out.put_le32(kRecordVersion);
  out.put_le32(static_cast<std::uint32_t>(record));
  out.put(bss.bssid);
  out.put_le16(bss.beacon_interval & 0xffff);
  out.put_le16(bss.capabilities & 0xffff);
  out.put8(static_cast<unsigned>(ssid.size()));
  out.put_text(ssid, 32);
  out.put_zeros(21);  // to offset 72: rates
  out.put_le16(chanspec(bss.frequency));
  out.put_zeros(4);  // to 78
  out.put_le16(static_cast<std::uint16_t>(bss.signal));
  out.put_zeros(36);  // to 116
  out.put_le16(kRecord);
  out.put_zeros(2);
  out.put_le32(static_cast<std::uint32_t>(bss.elements.size()));
  out.put_zeros(4);
  out.put(bss.elements);
  return out;
}

Datagram scan_end_event(const Mac& own, ScanEnd end) {
  Datagram out = begin(kScanResult, static_cast<std::uint32_t>(end), own, Mac{}, kScanHeader);
  put_scan_header(out, 0, 0);
  return out;
}

}  // namespace radio
