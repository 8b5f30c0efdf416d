// What the benchmarks share: a beacon of a real one's size, counted allocations, and calls that are
// timed apart.
//
// The programs run in the tests' sandbox, where /tmp is in memory as on a router. Standard output
// is line-buffered and leads to /dev/null, so what the daemon prints is paid for as in the field.
#ifndef VORLENT_BENCH_BENCH_H
#define VORLENT_BENCH_BENCH_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>

#include "support/air.h"

// Elements as a beacon carries them, 300 bytes in all: `count` elements, the last of which is
// `last`, behind elements of two other vendors.
air::Bytes beacon_elements(std::size_t count, const air::Bytes& last);

// Seconds of CPU that the process has used: what else the machine does leaves them alone.
double cpu_seconds();

// What has been spent since the last call in the things that are reported apart.
struct Apart {
  double keys;      // seconds of CPU for reading a key and checking one
  double commands;  // seconds that shell commands took
};
Apart take_time_apart();

// Whether shell commands are run, as they are at first, or left out.
void run_commands(bool run);

// Heap allocations of the process so far.
double allocations();

// Runs `work` in each iteration and reports its allocations.
template <typename Work>
void measure(benchmark::State& state, Work work) {
  const double before = allocations();
  for ([[maybe_unused]] auto _ : state) {
    work();
    benchmark::ClobberMemory();
  }
  state.counters["allocs"] = (allocations() - before) / static_cast<double>(state.iterations());
}

// What is printed while it lives takes no call to the system.
class Unprinted {
 public:
  Unprinted();
  ~Unprinted();
  Unprinted(const Unprinted&) = delete;
  Unprinted& operator=(const Unprinted&) = delete;

 private:
  FILE* kept_;
};

// The same for a manually timed benchmark; reading and checking keys does not count, nor does what
// printing costs the system.
template <typename Work>
void measure_without_keys(benchmark::State& state, Work work) {
  const Unprinted unprinted;
  measure(state, [&] {
    take_time_apart();
    const double begin = cpu_seconds();
    work();
    state.SetIterationTime(cpu_seconds() - begin - take_time_apart().keys);
  });
}

#endif
