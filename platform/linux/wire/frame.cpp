#include "frame.h"

namespace radio {

namespace {

constexpr std::size_t kHeader = 24;
constexpr unsigned kMoreFragments = 0x04;
constexpr unsigned kRetry = 0x08;
constexpr unsigned kProtected = 0x40;
constexpr unsigned kOrder = 0x80;  // a longer header
constexpr unsigned kProbeRequest = 0x40;
constexpr unsigned kAction = 0xd0;

// The fields of a radiotap header that come before what is wanted, by their bits.
constexpr unsigned kTsft = 0;
constexpr unsigned kFlags = 1;
constexpr unsigned kRate = 2;
constexpr unsigned kChannel = 3;
constexpr unsigned kMorePresent = 31;
constexpr unsigned kFcsAtEnd = 0x10;
constexpr unsigned kBadFcs = 0x40;

bool has(std::uint32_t bits, unsigned bit) {
  return (bits >> bit & 1U) != 0;
}

bool is_ours(View body) {
  return body.size() >= kActionPrefix.size() &&
         std::equal(kActionPrefix.begin(), kActionPrefix.end(), body.begin());
}

// Where the fields begin: behind the words that say which fields there are.
std::size_t first_field(View header) {
  std::size_t at = 4;
  while (at + 4 <= header.size() && has(le32(slice(header, at)), kMorePresent)) {
    at += 4;
  }
  return at + 4;
}

struct Fields {
  unsigned flags = 0;
  int frequency = 0;
  bool fit = false;
};

Fields read_fields(View header) {
  const std::uint32_t present = le32(slice(header, 4));
  std::size_t at = first_field(header);
  Fields out;
  if (has(present, kTsft)) {
    at = (at + 7) / 8 * 8 + 8;
  }
  if (has(present, kFlags)) {
    out.flags = at < header.size() ? header[at] : 0U;
    ++at;
  }
  at += has(present, kRate) ? 1 : 0;
  if (has(present, kChannel)) {
    at = (at + 1) / 2 * 2;
    out.frequency = static_cast<int>(le16(slice(header, at)));
    at += 4;
  }
  out.fit = at <= header.size();
  return out;
}

}  // namespace

std::optional<Heard> examine(View frame, const Mac& own) {
  if (frame.size() < kHeader || (frame[1] & (kMoreFragments | kProtected | kOrder)) != 0) {
    return std::nullopt;
  }
  const Mac to = mac_at(frame, 4);
  Heard out{.kind = FrameKind::action,
            .from = mac_at(frame, 10),
            .sequence = le16(slice(frame, 22)),
            .retry = (frame[1] & kRetry) != 0,
            .frame = frame,
            .body = slice(frame, kHeader)};
  if ((out.from[0] & 1) != 0 || (out.sequence & 0xf) != 0 || out.from == own) {
    return std::nullopt;
  }
  if (frame[0] == kProbeRequest && (to == own || to == kBroadcast)) {
    out.kind = FrameKind::probe_request;
    return out;
  }
  return frame[0] == kAction && to == own && is_ours(out.body) ? std::optional(out) : std::nullopt;
}

std::optional<Received> strip_radiotap(View packet) {
  const std::size_t length = le16(slice(packet, 2));
  if (length < 8 || length > packet.size() || packet[0] != 0) {
    return std::nullopt;
  }
  const Fields fields = read_fields(slice(packet, 0, length));
  View frame = slice(packet, length);
  const std::size_t check = (fields.flags & kFcsAtEnd) != 0 ? 4 : 0;
  if (!fields.fit || (fields.flags & kBadFcs) != 0 || frame.size() < check) {
    return std::nullopt;
  }
  return Received{frame.first(frame.size() - check), fields.frequency};
}

Datagram build_action(const Mac& to, const Mac& from, const Mac& bssid, View body) {
  Datagram out;
  out.put_le16(kAction);
  out.put_zeros(2);  // the duration, and the sequence number below, are the kernel's to fill in
  out.put(to);
  out.put(from);
  out.put(bssid);
  out.put_zeros(2);
  out.put(body);
  return out;
}

int frequency_of(int channel) {
  if (channel >= 1 && channel <= 13) {
    return 2407 + 5 * channel;
  }
  if (channel == 14) {
    return 2484;
  }
  return channel >= 36 && channel <= 177 ? 5000 + 5 * channel : 0;
}

int channel_of(int frequency) {
  if (frequency == 2484) {
    return 14;
  }
  const int base = frequency < 5000 ? 2407 : 5000;
  const int channel = (frequency - base) / 5;
  return channel > 0 && frequency_of(channel) == frequency ? channel : 0;
}

}  // namespace radio
