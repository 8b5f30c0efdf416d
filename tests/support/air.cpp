#include "support/air.h"

#include <algorithm>
#include <iterator>

namespace air {
namespace {

Bytes be16(std::size_t value) {
  return {static_cast<std::uint8_t>(value >> 8U), static_cast<std::uint8_t>(value)};
}

Bytes be32(std::size_t value) {
  return be16(value >> 16U) + be16(value & 0xFFFFU);
}

Bytes padded(const std::string& text, std::size_t size) {
  Bytes bytes = from_text(text);
  bytes.resize(size);
  return bytes;
}

void put(Bytes& into, std::size_t offset, std::size_t value, std::size_t width, bool swapped) {
  for (std::size_t i = 0; i < width; ++i) {
    into[offset + (swapped ? width - 1 - i : i)] = static_cast<std::uint8_t>(value >> (8 * i));
  }
}

Bytes tlv16(std::uint8_t tag, const Bytes& value) {
  return Bytes{tag} + be16(value.size()) + value;
}

}  // namespace

Bytes operator+(const Bytes& a, const Bytes& b) {
  Bytes joined(a.size() + b.size());
  std::copy(b.begin(), b.end(), std::copy(a.begin(), a.end(), joined.begin()));
  return joined;
}

Bytes from_hex(const std::string& digits) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

Bytes from_text(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string to_hex(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte >> 4U];
    text += "0123456789abcdef"[byte & 15U];
  }
  return text;
}

Bytes element(std::uint8_t prod_id, std::uint8_t plon_vie_data) {
  return {0xDD, 0x0B, 0x02, 0x7E, 0x91, 0, 0, 0, 3, 8, prod_id, 1, plon_vie_data};
}

Bytes ie(std::uint8_t id, const Bytes& body) {
  return Bytes{id, static_cast<std::uint8_t>(body.size())} + body;
}

Bytes probe_data(const Bytes& elements) {
  return Bytes(40, 0xEE) + elements;
}

Bytes scan_data(const Scan& scan, bool swapped) {
  constexpr std::size_t IE_OFFSET = 128;
  Bytes data(12 + IE_OFFSET, 0);
  put(data, 12 + 4, IE_OFFSET + scan.elements.size(), 4, swapped);
  std::copy(scan.bssid.begin(), scan.bssid.end(), data.begin() + 12 + 8);
  put(data, 12 + 72, scan.chanspec, 2, swapped);
  put(data, 12 + 116, IE_OFFSET, 2, swapped);
  put(data, 12 + 120, scan.elements.size(), 4, swapped);
  return data + scan.elements;
}

Bytes action_frame(std::uint16_t attr_id, const Bytes& data) {
  const Bytes head = from_hex("0409027e91") + be16(attr_id);
  return attr_id == 0x1004 && data.empty() ? head : head + be16(data.size()) + data;
}

Bytes event(std::uint32_t type, const Mac& addr, const Bytes& data, const std::string& interface,
            std::uint32_t status) {
  Bytes datagram = padded(interface, 16) + Bytes(12, 0xAB) + from_hex("886c8001") + be16(82) +
                   from_hex("00001018") + be16(1);
  datagram = datagram + be16(2) + be16(0) + be32(type) + be32(status) + be32(0) + be32(0) +
             be32(data.size()) + Bytes(addr.begin(), addr.end()) + padded(interface, 16) +
             Bytes{0, 0};
  Bytes behind = data;
  behind.resize(std::max<std::size_t>(behind.size(), 2));  // the shortest datagram has 90 bytes
  return datagram + behind;
}

Bytes sat_key_content(const std::string& pem, std::uint8_t plon_vie_data) {
  return tlv16(1, element(2, plon_vie_data)) + tlv16(2, from_text(pem));
}

Bytes credentials(const std::string& ssid, const std::string& pass_phrase,
                  const std::string& crypto, const std::string& akm) {
  return tlv16(1, from_text(ssid + '\0')) + tlv16(2, from_text(pass_phrase + '\0')) +
         tlv16(3, from_text(crypto + '\0')) + tlv16(4, from_text(akm + '\0'));
}

}  // namespace air
