// What every fuzz target shares: libFuzzer's entry point, and a check that reports where it failed.
#ifndef VORLENT_FUZZ_FUZZ_H
#define VORLENT_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void require(bool holds, const char* what) {
  if (!holds) {
    (void)fprintf(stderr, "broken: %s\n", what);
    abort();
  }
}

#endif
