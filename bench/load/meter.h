// What a receiver of driver events does, counted in memory that it shares with its observer.
//
// The daemon itself is untouched: a shim loaded before the C library counts its calls. The bare
// loop counts its own.
#ifndef VORLENT_BENCH_METER_H
#define VORLENT_BENCH_METER_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

// A command that was run: the operation that it sent, 0 for none, and when it began and ended.
struct Answer {
  std::int64_t begin_ns;
  std::int64_t end_ns;
  std::int32_t operation;
};

struct Meter {
  std::atomic<std::int32_t> pid;            // known from the first turn on
  std::atomic<std::int64_t> bound_ns;       // when the event socket was bound
  std::atomic<std::uint64_t> turns;         // waits of the loop that have begun
  std::atomic<std::uint64_t> taken;         // datagrams received
  std::atomic<std::uint64_t> turn_of_last;  // the turn that took the last one
  std::atomic<std::uint64_t> answers;  // commands that have ended; the last of them are in `ring`
  std::array<Answer, 4096> ring;

  void add_answer(const Answer& answer) {
    ring[answers % ring.size()] = answer;
    ++answers;
  }
};

inline constexpr const char* METER_FILE = "/tmp/meter";

// The meter of this sandbox, all zero when the file is new.
inline Meter* map_meter() {
  const int fd = open(METER_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  (void)!ftruncate(fd, sizeof(Meter));
  void* memory = mmap(nullptr, sizeof(Meter), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  return memory == MAP_FAILED ? nullptr : static_cast<Meter*>(memory);
}

inline std::int64_t now_ns() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

#endif
