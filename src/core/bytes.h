// Bounded access to bytes that came from outside.
//
// Bytes are looked at through a view and read by a reader that cannot leave it: width and byte
// order are in the name, and the first read past the end makes every later one fail too, so that
// one ok() after a run of reads serves them all. Other code takes no offset or length from
// received bytes without them.
#ifndef VORLENT_CORE_BYTES_H
#define VORLENT_CORE_BYTES_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

using ByteView = std::span<const std::uint8_t>;

// The part of `view` from `offset` on, at most `length` bytes; empty where it lies outside.
inline ByteView clipped(ByteView view, std::size_t offset, std::size_t length = SIZE_MAX) {
  if (offset >= view.size()) {
    return {};
  }
  return view.subspan(offset, std::min(length, view.size() - offset));
}

class ByteReader {
 public:
  explicit ByteReader(ByteView view, std::size_t offset = 0) : view_(view), position_(offset) {}

  // False once a read has reached past the end; what was read since then is zero.
  [[nodiscard]] bool ok() const { return ok_; }

  std::uint8_t u8() { return static_cast<std::uint8_t>(big_endian(1)); }
  std::uint16_t be16() { return static_cast<std::uint16_t>(big_endian(2)); }
  std::uint32_t be24() { return big_endian(3); }
  std::uint32_t be32() { return big_endian(4); }
  std::uint16_t le16() {
    const std::uint16_t value = be16();
    return static_cast<std::uint16_t>(value << 8U | value >> 8U);
  }
  std::uint32_t le32() {
    const std::uint32_t low = le16();
    return low | static_cast<std::uint32_t>(le16()) << 16U;
  }

  // The next `count` bytes, or an empty view where fewer are left.
  ByteView bytes(std::size_t count) {
    if (!take(count)) {
      return {};
    }
    return view_.subspan(position_ - count, count);
  }

  // The next N bytes as an array, zero where fewer are left.
  template <std::size_t N>
  std::array<std::uint8_t, N> array() {
    std::array<std::uint8_t, N> out{};
    const ByteView from = bytes(N);
    std::copy(from.begin(), from.end(), out.begin());
    return out;
  }

 private:
  bool take(std::size_t count) {
    if (!ok_ || position_ > view_.size() || view_.size() - position_ < count) {
      ok_ = false;
      return false;
    }
    position_ += count;
    return true;
  }

  std::uint32_t big_endian(std::size_t width) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes(width)) {
      value = value << 8U | byte;
    }
    return value;
  }

  ByteView view_;
  std::size_t position_;
  bool ok_ = true;
};

// Copies bytes into a fixed text field as a NUL-terminated text, cut to what the field holds;
// what is left of the field is zero.
template <std::size_t N>
void copy_text(std::array<char, N>& field, ByteView bytes) {
  field.fill('\0');
  std::transform(bytes.begin(),
                 bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), N - 1)),
                 field.begin(), [](std::uint8_t byte) { return static_cast<char>(byte); });
}

// How many bytes of `bytes` printf's "%.*s" may look at.
inline int text_size(ByteView bytes) {
  return static_cast<int>(bytes.size());
}

// The bytes as the characters that printf's "%.*s" takes; it stops at a NUL by itself.
inline const char* as_text(ByteView bytes) {
  return reinterpret_cast<const char*>(bytes.data());
}

// A text field's first `length` bytes as bytes.
inline ByteView as_bytes(const char* text, std::size_t length) {
  return ByteView(reinterpret_cast<const std::uint8_t*>(text), length);
}

#endif
