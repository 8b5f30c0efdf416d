// Bytes as they arrive, and a datagram of fixed size that is put together from them: no heap is
// touched for what a stranger sends.
#ifndef PLATFORM_LINUX_WIRE_BYTES_H
#define PLATFORM_LINUX_WIRE_BYTES_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace radio {

using View = std::span<const std::uint8_t>;
using Mac = std::array<std::uint8_t, 6>;

inline constexpr Mac kBroadcast{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

// The bytes from `offset` on, at most `count` of them; an empty view past the end.
inline View slice(View bytes, std::size_t offset, std::size_t count = SIZE_MAX) {
  const std::size_t begin = std::min(offset, bytes.size());
  return bytes.subspan(begin, std::min(count, bytes.size() - begin));
}

inline unsigned le16(View bytes) {
  return bytes.size() < 2 ? 0 : bytes[0] | static_cast<unsigned>(bytes[1]) << 8;
}

inline std::uint32_t le32(View bytes) {
  return bytes.size() < 4 ? 0
                          : le16(bytes) | static_cast<std::uint32_t>(le16(slice(bytes, 2))) << 16;
}

inline Mac mac_at(View bytes, std::size_t offset) {
  Mac out{};
  const View found = slice(bytes, offset, out.size());
  std::copy(found.begin(), found.end(), out.begin());
  return out;
}

// What goes to the daemon, which reads no more than this of a datagram. What does not fit leaves
// `whole` false; such a datagram must not be sent.
class Datagram {
 public:
  void put8(unsigned value) {
    if (size_ < bytes_.size()) {
      bytes_[size_++] = static_cast<std::uint8_t>(value);
    } else {
      whole_ = false;
    }
  }
  void put_be16(unsigned value) { put8(value >> 8 & 0xff), put8(value & 0xff); }
  void put_be32(std::uint32_t value) { put_be16(value >> 16), put_be16(value & 0xffff); }
  void put_le16(unsigned value) { put8(value & 0xff), put8(value >> 8 & 0xff); }
  void put_le32(std::uint32_t value) { put_le16(value & 0xffff), put_le16(value >> 16); }
  void put(View bytes) {
    for (const std::uint8_t byte : bytes) {
      put8(byte);
    }
  }
  void put_text(std::string_view text, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
      put8(i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
    }
  }
  void put_zeros(std::size_t count) { put_text({}, count); }

  bool whole() const { return whole_; }
  View view() const { return {bytes_.data(), size_}; }

 private:
  std::array<std::uint8_t, 4096> bytes_{};
  std::size_t size_ = 0;
  bool whole_ = true;
};

}  // namespace radio

#endif
