#include "base/bytes.h"

#include <algorithm>

namespace lab {

void put8(Bytes& out, unsigned value) {
  out.push_back(static_cast<std::uint8_t>(value));
}

void put_be16(Bytes& out, unsigned value) {
  put8(out, value >> 8);
  put8(out, value);
}

void put_be32(Bytes& out, std::uint32_t value) {
  put_be16(out, value >> 16);
  put_be16(out, value & 0xffff);
}

void put_le16(Bytes& out, unsigned value) {
  put8(out, value);
  put8(out, value >> 8);
}

void put_le32(Bytes& out, std::uint32_t value) {
  put_le16(out, value & 0xffff);
  put_le16(out, value >> 16);
}

void put(Bytes& out, View bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

void put(Bytes& out, std::string_view text) {
  out.insert(out.end(), text.begin(), text.end());
}

void put_zeros(Bytes& out, std::size_t count) {
  out.insert(out.end(), count, 0);
}

std::optional<unsigned> be16(View bytes, std::size_t offset) {
  if (offset + 2 > bytes.size()) {
    return std::nullopt;
  }
  return static_cast<unsigned>(bytes[offset] << 8 | bytes[offset + 1]);
}

std::optional<unsigned> le16(View bytes, std::size_t offset) {
  if (offset + 2 > bytes.size()) {
    return std::nullopt;
  }
  return static_cast<unsigned>(bytes[offset + 1] << 8 | bytes[offset]);
}

View slice(View bytes, std::size_t offset, std::size_t count) {
  if (offset >= bytes.size()) {
    return {};
  }
  return bytes.subspan(offset, std::min(count, bytes.size() - offset));
}

std::string hex(View bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

static int digit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<Bytes> parse_hex(std::string_view text) {
  Bytes bytes;
  if (text.size() % 2 != 0) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = digit(text[i]);
    const int low = digit(text[i + 1]);
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    put8(bytes, static_cast<unsigned>(high * 16 + low));
  }
  return bytes;
}

std::string text_of(const Mac& mac) {
  std::string text;
  for (const std::uint8_t byte : mac) {
    text += text.empty() ? "" : ":";
    text += hex({&byte, 1});
  }
  return text;
}

std::optional<Mac> parse_mac(std::string_view text) {
  if (text.size() != 17) {
    return std::nullopt;
  }
  Mac mac{};
  for (std::size_t i = 0; i < mac.size(); ++i) {
    const auto byte = parse_hex(text.substr(i * 3, 2));
    if (!byte || (i + 1 < mac.size() && text[i * 3 + 2] != ':')) {
      return std::nullopt;
    }
    mac[i] = byte->front();
  }
  return mac;
}

}  // namespace lab
