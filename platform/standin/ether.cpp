#include <array>
#include <cstddef>

#include "platform_onboarding.h"

char* ether_etoa(const unsigned char* mac, char* text) {
  static constexpr std::array<char, 17> kDigits = {"0123456789ABCDEF"};
  constexpr std::size_t kBytes = 6;
  char* out = text;
  for (std::size_t i = 0; i < kBytes; ++i) {
    *out++ = kDigits[mac[i] >> 4U];
    *out++ = kDigits[mac[i] & 0x0FU];
    *out++ = i + 1 < kBytes ? ':' : '\0';
  }
  return text;
}
