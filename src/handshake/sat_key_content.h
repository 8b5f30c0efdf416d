// The plaintext of operation 1002: the unit's element and its public key, two tag-length-value
// entries, lengths big-endian.
//
//    0   1  tag 0x01
//    1   2  length L1, 13 in all that the system sends
//    3  L1  the unit's vendor element, plon_vie_data 2
//   16   1  tag 0x02
//   17   2  length K of the key text
//   19   K  the unit's public key, PEM
//
// Encrypted in whole 256-byte blocks, so zeros follow up to the end of the last one; bytes behind
// the key are allowed for that reason. The tags are not compared.
#ifndef VORLENT_HANDSHAKE_SAT_KEY_CONTENT_H
#define VORLENT_HANDSHAKE_SAT_KEY_CONTENT_H

#include <cstdint>

#include "core/bytes.h"
#include "crypto/rsa_helpers.h"

inline constexpr std::size_t SAT_KEY_HEADERS = 19;  // all but the key
inline constexpr std::size_t SAT_KEY_MAX = RSA_DATA_MAX - SAT_KEY_HEADERS;

// Builds the content in the zero-filled `buf` for a key text of at most SAT_KEY_MAX bytes and
// returns its length.
std::size_t build_sat_key_content(ByteView key, RsaBuffer& buf);

// The element's place: bytes 3 to 15, zeros where the plaintext is shorter.
ByteView sat_key_element(ByteView plaintext);

// The key text, by the lengths inside. Returns false when an entry lies outside the plaintext.
[[nodiscard]] bool read_sat_key(ByteView plaintext, ByteView& key);

#endif
