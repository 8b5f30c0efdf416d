// RSA for the key exchange: raw, with a peer's public key or the private one of key_files.h.
//
// Keys are 2048 bits, so a block is 256 bytes. There is no padding: that is the exchange's own
// format, and it protects less than it seems (see docs/security.md). Data is cut into blocks, the
// last one filled with zeros; the receiver finds its end by the lengths inside it.
// Diagnostics go to standard output, not to the log. At most RSA_DATA_MAX bytes are encrypted or
// decrypted. A failure of any kind - the bound, a key that is none or not 2048 bits, a block that
// fails - leaves no output and the length 0, with a line on standard output: a result is visible
// only when all of it succeeded.
#ifndef VORLENT_CRYPTO_RSA_HELPERS_H
#define VORLENT_CRYPTO_RSA_HELPERS_H

#include <array>
#include <cstdint>

#include "core/bytes.h"

inline constexpr std::size_t RSA_BLOCK = 256;
inline constexpr std::size_t RSA_DATA_MAX = 4 * RSA_BLOCK;

using RsaBuffer = std::array<std::uint8_t, RSA_DATA_MAX>;

// Encrypts `data`, the last block filled with zeros, with the peer's public key, a PEM text of at
// most 65535 bytes. Always returns 0.
int rsa_encrypt_by_pub_key(ByteView pem, ByteView data, RsaBuffer& out, std::uint16_t& out_len);

// Decrypts `cipher` with the private key file. Always returns 0.
int rsa_decrypt_by_pri_key(ByteView cipher, RsaBuffer& out, std::uint16_t& out_len);

// True when the last decryption had a key of its own and a ciphertext within the bound: then a
// length of 0 means that the ciphertext was not made for that key.
bool decryption_had_a_key();

#endif
