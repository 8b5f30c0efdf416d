// RSA for the key exchange: the unit's own key pair in two files, raw RSA with a peer's key.
//
// Keys are 2048 bits with exponent 65537, so a block is 256 bytes. There is no padding: that is the
// exchange's own format, and it protects less than it seems (see docs/security.md). Data is cut
// into blocks, the last one filled with zeros; the receiver finds its end by the lengths inside it.
// Diagnostics go to standard output, not to the log. At most RSA_DATA_MAX bytes are encrypted or
// decrypted. A failure of any kind - the bound, a key that is none or not 2048 bits, a block that
// fails - leaves no output and the length 0, with a line on standard output: a result is visible
// only when all of it succeeded.
#ifndef VORLENT_CRYPTO_RSA_HELPERS_H
#define VORLENT_CRYPTO_RSA_HELPERS_H

#include <array>
#include <cstdint>
#include <span>

#include "core/bytes.h"

inline constexpr const char* RSA_PRI_FILE = "/tmp/rsa_pri.pem";
inline constexpr const char* RSA_PUB_FILE = "/tmp/rsa_pub.pem";
inline constexpr std::size_t RSA_BLOCK = 256;
inline constexpr std::size_t RSA_DATA_MAX = 4 * RSA_BLOCK;

using RsaBuffer = std::array<std::uint8_t, RSA_DATA_MAX>;

// Makes a new key pair, writes it over both files (the private one readable by its owner alone) and
// prints both through the shell. Blocks while the key is made, a tenth of a second and at times a
// whole one. A step that fails leaves no files, and nothing to print. Returns 0, or the errno value
// of that step.
int rsa_gen_key_pair();

// Reads the public key file into `buf`, which the caller has zero-filled, and its size into `len`.
// Returns 0, or -1 with a line on standard output and nothing changed when the file cannot be
// opened or does not fit.
int read_pub_key_to_memory(std::span<std::uint8_t> buf, std::uint16_t& len);

// Encrypts `data`, the last block filled with zeros, with the peer's public key, a PEM text of at
// most 65535 bytes. Always returns 0.
int rsa_encrypt_by_pub_key(ByteView pem, ByteView data, RsaBuffer& out, std::uint16_t& out_len);

// Decrypts `cipher` with the private key file. Always returns 0.
int rsa_decrypt_by_pri_key(ByteView cipher, RsaBuffer& out, std::uint16_t& out_len);

// True when the last decryption had a key of its own and a ciphertext within the bound: then a
// length of 0 means that the ciphertext was not made for that key.
bool decryption_had_a_key();

#endif
