#include "air/seeded_fate.h"

namespace lab {

namespace {

// Mixes one more number into a hash (the finaliser of splitmix64).
std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
  std::uint64_t z = hash * 0x9e3779b97f4a7c15U + value + 0x9e3779b97f4a7c15U;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
  return z ^ (z >> 31);
}

std::uint64_t number_of(const Mac& mac) {
  std::uint64_t number = 0;
  for (const std::uint8_t byte : mac) {
    number = number << 8 | byte;
  }
  return number;
}

// From 0 (included) to 1 (excluded).
double share(std::uint64_t hash) {
  return static_cast<double>(hash >> 11) * 0x1.0p-53;
}

}  // namespace

Fate draw_fate(const AirSettings& settings, const Mac& from, const Mac& to, int kind,
               std::uint32_t nth) {
  std::uint64_t hash = mix(settings.seed, number_of(from));
  hash = mix(hash, number_of(to));
  hash = mix(hash, static_cast<std::uint64_t>(kind));
  hash = mix(hash, nth);
  const auto late = [&](std::uint64_t salt) {
    return settings.delay + from_seconds(seconds(settings.jitter) * share(mix(hash, salt)));
  };
  Fate fate{.lost = share(mix(hash, 1)) < settings.loss, .delay = late(2), .again = {}};
  if (share(mix(hash, 3)) < settings.duplicate) {
    fate.again = late(4) + 1ms;
  }
  return fate;
}

}  // namespace lab
