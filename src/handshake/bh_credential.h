// The backhaul credential content: the plaintext of operation 1003, and the one place that knows
// its format. The base builds it from NVRAM, the unit reads it into `target`.
//
// Exactly four elements, nothing before, between or after them but the zeros up to the end of the
// last encrypted block:
//
//   tag 1 byte, length 2 bytes big-endian, value with its terminating zero
//
//   order  tag   value            NVRAM on the base  unit's field
//   1      0x01  SSID             bh_ssid            32 bytes
//   2      0x02  pass phrase      bh_wpa_psk         64 bytes
//   3      0x03  cipher           bh_crypto          16 bytes
//   4      0x04  key management   bh_akm             16 bytes
//
// Elements are taken by position; tags are logged and not compared.
#ifndef VORLENT_HANDSHAKE_BH_CREDENTIAL_H
#define VORLENT_HANDSHAKE_BH_CREDENTIAL_H

#include <array>
#include <cstdint>

#include "core/bytes.h"
#include "core/context.h"
#include "crypto/rsa_helpers.h"

struct CredentialElement {
  std::uint8_t tag;
  std::uint16_t length;  // bytes of the value, its terminating zero included
  ByteView value;
};
using CredentialElements = std::array<CredentialElement, 4>;

// Builds the content in the zero-filled `buf` from NVRAM and logs it. Returns its length, or 0 with
// a line in the log and `buf` zero when the settings do not fit `buf`.
int generate_bh_credential_content(RsaBuffer& buf);

// Logs a content. Returns 0.
int dump_bh_credential_content(ByteView content);

// Cuts a content into its elements. Returns false when one lies outside the content.
[[nodiscard]] bool read_bh_credential(ByteView content, CredentialElements& elements);

// The NVRAM name of the first setting in the elements that a unit's field cannot hold with its
// terminating zero, or none.
const char* unfit_bh_setting(const CredentialElements& elements);

// Copies the four values, which have to fit, into `target`. They reach NVRAM with the satellite's
// configuration (role/role_settings.h), once the mode has changed.
void set_target_credentials(const CredentialElements& elements, TargetBssInfo& target);

#endif
