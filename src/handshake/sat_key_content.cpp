#include "handshake/sat_key_content.h"

#include <algorithm>

#include "core/pelion_element.h"

namespace {

constexpr PelionElement SEALED_ELEMENT = pelion_element(PROD_ID_UNIT, VIE_DATA_SEALED);
constexpr std::size_t TAG_AND_LENGTH = 3;

}  // namespace

std::size_t build_sat_key_content(ByteView key, RsaBuffer& buf) {
  auto at = buf.begin();
  const auto put_header = [&at](std::uint8_t tag, std::size_t length) {
    *at++ = tag;
    *at++ = static_cast<std::uint8_t>(length >> 8U);
    *at++ = static_cast<std::uint8_t>(length);
  };
  put_header(0x01, SEALED_ELEMENT.size());
  at = std::copy(SEALED_ELEMENT.begin(), SEALED_ELEMENT.end(), at);
  put_header(0x02, key.size());
  std::copy(key.begin(), key.end(), at);
  return SAT_KEY_HEADERS + key.size();
}

ByteView sat_key_element(ByteView plaintext) {
  return clipped(plaintext, TAG_AND_LENGTH, PLON_IE_SIZE);
}

bool read_sat_key(ByteView plaintext, ByteView& key) {
  ByteReader reader(plaintext);
  reader.u8();
  reader.bytes(reader.be16());
  reader.u8();
  key = reader.bytes(reader.be16());
  return reader.ok();
}
