#include "air/frames.h"

#include <algorithm>

namespace lab {

namespace {

constexpr std::size_t kHeaderLength = 24;
constexpr std::size_t kFixedLength = 12;  // time stamp, beacon interval, capabilities
constexpr std::array<std::uint8_t, 5> kHandshakePrefix{0x04, 0x09, 0x02, 0x7e, 0x91};

Bytes header(FrameKind kind, const Mac& to, const Mac& from, const Mac& bssid, unsigned sequence) {
  Bytes frame;
  put8(frame, static_cast<unsigned>(kind) << 4);
  put_zeros(frame, 3);
  put(frame, to);
  put(frame, from);
  put(frame, bssid);
  put_le16(frame, (sequence & 0xfff) << 4);
  return frame;
}

void put_element(Bytes& out, unsigned id, View body) {
  put8(out, id);
  put8(out, static_cast<unsigned>(body.size()));
  put(out, body);
}

void put_common_elements(Bytes& out, std::string_view ssid) {
  constexpr std::array<std::uint8_t, 8> rates{0x82, 0x84, 0x8b, 0x96, 0x0c, 0x18, 0x30, 0x48};
  put8(out, 0);
  put8(out, static_cast<unsigned>(ssid.size()));
  put(out, ssid);
  put_element(out, 1, rates);
}

int frequency_of(int channel) {
  return channel <= 13 ? 2407 + 5 * channel : 5000 + 5 * channel;
}

}  // namespace

bool is_channel(int channel) {
  return std::find(kChannels.begin(), kChannels.end(), channel) != kChannels.end();
}

const char* name_of(FrameKind kind) {
  switch (kind) {
    case FrameKind::probe_request:
      return "probe request";
    case FrameKind::probe_response:
      return "probe response";
    case FrameKind::beacon:
      return "beacon";
    case FrameKind::action:
      break;
  }
  return "action";
}

Bytes build_probe_request(const Mac& from, unsigned sequence, View vendor) {
  Bytes frame = header(FrameKind::probe_request, kBroadcast, from, kBroadcast, sequence);
  put_common_elements(frame, "");
  put(frame, vendor);
  return frame;
}

Bytes build_bss_frame(FrameKind kind, const Mac& to, const Mac& bssid, unsigned sequence,
                      std::string_view ssid, int channel, View vendor) {
  Bytes frame = header(kind, to, bssid, bssid, sequence);
  put_zeros(frame, 8);
  put_le16(frame, 100);     // beacon interval in units of 1.024 ms
  put_le16(frame, 0x0411);  // ESS, privacy, short slot
  put_common_elements(frame, ssid);
  const auto number = static_cast<std::uint8_t>(channel);
  put_element(frame, 3, {&number, 1});
  put(frame, vendor);
  return frame;
}

Bytes build_action(const Mac& to, const Mac& from, const Mac& bssid, unsigned sequence, View body) {
  Bytes frame = header(FrameKind::action, to, from, bssid, sequence);
  put(frame, body);
  return frame;
}

std::optional<Frame> parse_frame(View bytes) {
  if (bytes.size() < kHeaderLength || (bytes[0] & 0x0f) != 0) {
    return std::nullopt;
  }
  Frame frame;
  frame.kind = static_cast<FrameKind>(bytes[0] >> 4);
  if (frame.kind != FrameKind::probe_request && frame.kind != FrameKind::probe_response &&
      frame.kind != FrameKind::beacon && frame.kind != FrameKind::action) {
    return std::nullopt;
  }
  std::copy_n(bytes.begin() + 4, 6, frame.to.begin());
  std::copy_n(bytes.begin() + 10, 6, frame.from.begin());
  std::copy_n(bytes.begin() + 16, 6, frame.bssid.begin());
  frame.body = bytes.subspan(kHeaderLength);
  return frame;
}

View elements_of(const Frame& frame) {
  return slice(frame.body, kFixedLength);
}

int operation_of(const Frame& frame) {
  const View body = frame.body;
  if (frame.kind != FrameKind::action || body.size() < 7 ||
      !std::equal(kHandshakePrefix.begin(), kHandshakePrefix.end(), body.begin())) {
    return 0;
  }
  const unsigned id = be16(body, 5).value_or(0);
  return id >= 0x1000 && id <= 0x1004 ? static_cast<int>(1000 + (id & 7)) : 0;
}

Bytes radiotap(int channel) {
  Bytes header;
  put_le16(header, 0);
  put_le16(header, 12);
  put_le32(header, 1U << 3);  // the channel field alone
  put_le16(header, static_cast<unsigned>(frequency_of(channel)));
  put_le16(header, channel <= 13 ? 0x00a0 : 0x0140);  // 2.4 GHz CCK, 5 GHz OFDM
  return header;
}

}  // namespace lab
