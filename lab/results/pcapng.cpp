#include "results/pcapng.h"

#include <algorithm>

namespace lab {

namespace {

constexpr std::uint32_t kSection = 0x0a0d0d0a;
constexpr std::uint32_t kInterfaceBlock = 1;
constexpr std::uint32_t kEnhancedPacket = 6;

void pad(Bytes& out) {
  put_zeros(out, (4 - out.size() % 4) % 4);
}

void option(Bytes& out, unsigned code, std::string_view value) {
  const std::string_view cut = value.substr(0, 60000);
  put_le16(out, code);
  put_le16(out, static_cast<unsigned>(cut.size()));
  put(out, cut);
  pad(out);
}

}  // namespace

bool Pcapng::open(const std::string& path) {
  file_.reset(fopen(path.c_str(), "wbe"));
  if (file_ == nullptr) {
    return false;
  }
  Bytes body;
  put_le32(body, 0x1a2b3c4d);
  put_le16(body, 1);
  put_le16(body, 0);
  put_le32(body, 0xffffffff);  // the section's length: not said
  put_le32(body, 0xffffffff);
  option(body, 4, "meshlab");
  put_le32(body, 0);
  block(kSection, body);
  return true;
}

void Pcapng::block(std::uint32_t type, View body) {
  Bytes out;
  const auto length = static_cast<std::uint32_t>(12 + body.size());
  put_le32(out, type);
  put_le32(out, length);
  put(out, body);
  put_le32(out, length);
  fwrite(out.data(), 1, out.size(), file_.get());
}

void Pcapng::add_interface(unsigned link_type, std::string_view name,
                           std::string_view description) {
  Bytes body;
  put_le16(body, link_type);
  put_le16(body, 0);
  put_le32(body, 0);  // packets are never cut
  option(body, 2, name);
  option(body, 3, description);
  option(body, 9, "\x09");  // time stamps count nanoseconds
  put_le32(body, 0);
  block(kInterfaceBlock, body);
}

void Pcapng::packet(unsigned interface, std::uint64_t nanoseconds, View bytes,
                    std::string_view comment) {
  Bytes body;
  put_le32(body, interface);
  put_le32(body, static_cast<std::uint32_t>(nanoseconds >> 32));
  put_le32(body, static_cast<std::uint32_t>(nanoseconds));
  put_le32(body, static_cast<std::uint32_t>(bytes.size()));
  put_le32(body, static_cast<std::uint32_t>(bytes.size()));
  put(body, bytes);
  pad(body);
  if (!comment.empty()) {
    option(body, 1, comment);
    put_le32(body, 0);
  }
  block(kEnhancedPacket, body);
}

bool Pcapng::close() {
  const bool whole = file_ != nullptr && fflush(file_.get()) == 0 && !failed();
  file_.reset();
  return whole;
}

Bytes udp_packet(unsigned port, View payload) {
  const auto length = static_cast<unsigned>(payload.size());
  Bytes out;
  put_be16(out, 0x4500);
  put_be16(out, 28 + length);
  put_be32(out, 0);
  put_be16(out, 0x4011);  // time to live, UDP
  put_be16(out, 0);       // checksum, filled in below
  put_be32(out, 0x7f000001);
  put_be32(out, 0x7f000001);
  unsigned sum = 0;
  for (std::size_t i = 0; i < 20; i += 2) {
    sum += be16(out, i).value_or(0);
  }
  sum = ~((sum & 0xffff) + (sum >> 16));
  out[10] = static_cast<std::uint8_t>(sum >> 8);
  out[11] = static_cast<std::uint8_t>(sum);
  put_be16(out, 49152);
  put_be16(out, port);
  put_be16(out, 8 + length);
  put_be16(out, 0);  // no checksum
  put(out, payload);
  return out;
}

Bytes text_packet(std::string_view text) {
  static constexpr std::string_view kDissector = "data-text-lines";
  Bytes out;
  put_be16(out, 12);  // which dissector reads the rest
  put_be16(out, static_cast<unsigned>((kDissector.size() + 4) / 4 * 4));
  put(out, kDissector);
  put_zeros(out, 4 - kDissector.size() % 4);
  put_be32(out, 0);  // no more tags
  put(out, text);
  put8(out, '\n');
  return out;
}

}  // namespace lab
