// The unit's own key pair, 2048 bits with exponent 65537, in two files. Diagnostics go to standard
// output, not to the log.
#ifndef VORLENT_CRYPTO_KEY_FILES_H
#define VORLENT_CRYPTO_KEY_FILES_H

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr const char* RSA_PRI_FILE = "/tmp/rsa_pri.pem";
inline constexpr const char* RSA_PUB_FILE = "/tmp/rsa_pub.pem";
inline constexpr int RSA_KEY_BITS = 2048;

// Makes a new key pair, writes it over both files (the private one readable by its owner alone) and
// prints both through the shell. Blocks while the key is made, a tenth of a second and at times a
// whole one. A step that fails leaves no files, and nothing to print. Returns 0, or the errno value
// of that step.
int rsa_gen_key_pair();

// Reads the public key file into `buf`, which the caller has zero-filled, and its size into `len`.
// Returns 0, or -1 with a line on standard output and nothing changed when the file cannot be
// opened or does not fit.
int read_pub_key_to_memory(std::span<std::uint8_t> buf, std::uint16_t& len);

// Reads the private key file into `buf`. Returns how many bytes it has, more than `buf` holds when
// it does not fit, 0 when it cannot be opened.
std::size_t read_private_key_file(std::span<std::uint8_t> buf);

#endif
