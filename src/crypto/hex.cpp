#include "crypto/hex.h"

#include <cstdio>

void write_hex(ByteView in, std::span<char> out) {
  constexpr const char* DIGITS = "0123456789abcdef";
  std::size_t at = 0;
  for (const std::uint8_t byte : in) {
    out[at++] = DIGITS[byte >> 4U];
    out[at++] = DIGITS[byte & 0x0FU];
  }
  out[at] = '\0';
}

int bytes_to_hex_string(ByteView in, std::span<char> out) {
  if (out.size() <= 2 * in.size()) {
    (void)puts("Not enough buff len to store hex string...");
    return -1;
  }
  if (!in.empty()) {
    write_hex(in, out);
  }
  (void)printf("hex_string(%d): \n%.*s\n", static_cast<int>(out.size()),
               static_cast<int>(out.size()), out.data());
  return 0;
}
