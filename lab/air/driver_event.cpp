#include "air/driver_event.h"

#include <algorithm>

namespace lab {

namespace {

constexpr std::string_view kInterface = "wl0";
constexpr std::array<std::uint8_t, 3> kDriverOui{0x00, 0x10, 0x18};
constexpr std::size_t kRecordLength = 128;  // of a BSS record before its elements

void put_padded(Bytes& out, std::string_view text, std::size_t width) {
  put(out, text.substr(0, width));
  put_zeros(out, width - std::min(width, text.size()));
}

// Band, bandwidth (20 MHz) and number, as the driver packs them.
unsigned chanspec(int channel) {
  return (channel <= 13 ? 0x1000U : 0xd000U) | static_cast<unsigned>(channel);
}

void put_scan_header(Bytes& out, std::size_t record_length, unsigned bss_count) {
  put_le32(out, static_cast<std::uint32_t>(12 + record_length));
  put_le32(out, 109);  // version of the record
  put_le16(out, 1);    // which scan
  put_le16(out, bss_count);
}

}  // namespace

Bytes driver_event(EventType type, std::uint32_t status, const Mac& own, const Mac& peer,
                   View data) {
  Bytes out;
  put_padded(out, kInterface, 16);
  put(out, own);
  put(out, own);
  put_be16(out, 0x886c);
  put_be16(out, 0x8001);
  put_be16(out, static_cast<unsigned>(54 + data.size()));
  put8(out, 0);
  put(out, kDriverOui);
  put_be16(out, 1);
  put_be16(out, 2);  // version of the message
  put_be16(out, 0);
  put_be32(out, static_cast<std::uint32_t>(type));
  put_be32(out, status);
  put_zeros(out, 8);
  put_be32(out, static_cast<std::uint32_t>(data.size()));
  put(out, peer);
  put_padded(out, kInterface, 16);
  put_zeros(out, 2);
  put(out, data);
  return out;
}

Bytes probe_data(int channel, View frame) {
  Bytes out;
  put_be16(out, 1);
  put_be16(out, chanspec(channel));
  put_zeros(out, 12);
  put(out, frame);
  return out;
}

Bytes scan_data(const Mac& bssid, std::string_view ssid, int channel, View elements) {
  Bytes record;
  put_le32(record, 109);
  put_le32(record, static_cast<std::uint32_t>(kRecordLength + elements.size()));
  put(record, bssid);
  put_le16(record, 100);
  put_le16(record, 0x0411);
  put8(record, static_cast<unsigned>(std::min<std::size_t>(ssid.size(), 32)));
  put_padded(record, ssid, 32);
  put_zeros(record, 72 - record.size());
  put_le16(record, chanspec(channel));
  put_zeros(record, 116 - record.size());
  put_le16(record, kRecordLength);
  put_zeros(record, 2);
  put_le32(record, static_cast<std::uint32_t>(elements.size()));
  put_zeros(record, kRecordLength - record.size());
  Bytes out;
  put_scan_header(out, kRecordLength + elements.size(), 1);
  put(out, record);
  put(out, elements);
  return out;
}

Bytes scan_done_data() {
  Bytes out;
  put_scan_header(out, 0, 0);
  return out;
}

}  // namespace lab
