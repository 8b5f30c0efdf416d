// Bytes as hexadecimal text, for the command line of the wireless utility.
#ifndef VORLENT_CRYPTO_HEX_H
#define VORLENT_CRYPTO_HEX_H

#include <cstdint>
#include <span>

#include "core/bytes.h"

// Writes two lower-case digits for each byte of `in` and a NUL into `out`, which holds more than
// twice as many characters as there are bytes.
void write_hex(ByteView in, std::span<char> out);

// Writes two lower-case digits for each byte of `in` and a NUL into `out`, and prints the text on
// standard output. With no bytes nothing is written.
// Returns 0, or -1 with a line on standard output, and `out` untouched, when `out` does not hold
// more than twice as many characters as there are bytes.
int bytes_to_hex_string(ByteView in, std::span<char> out);

#endif
