// Files for the stand-in: opening one, reading it up to a bound, writing all of a text, and telling
// when to look at one again. atomic_file.h replaces one, file_lock.h locks one.
//
// Every descriptor is closed on exec, since the daemon runs shell commands, and stands above the
// three standard ones: in a process that was started with those closed, a file would otherwise
// land on number 1 and receive what the process prints.
// A result of false leaves the reason in errno.
#ifndef STANDIN_FILES_H
#define STANDIN_FILES_H

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "unique_fd.h"

namespace standin {

// Puts errno back when it goes: a caller's reason for a failure must survive a log line about it.
class KeepErrno {
 public:
  KeepErrno() : value_(errno) {}
  ~KeepErrno() { errno = value_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int value_;
};

// Says when to look again at what may have changed: at the first question, and then at the first
// one that comes `pause` nanoseconds or more after the last look. CLOCK_MONOTONIC_COARSE costs a
// fifth of CLOCK_MONOTONIC, and moves every few milliseconds only.
class Lookout {
 public:
  Lookout(clockid_t clock, std::int64_t pause) : clock_(clock), pause_(pause) {}
  [[nodiscard]] bool due();

 private:
  clockid_t clock_;
  std::int64_t pause_;
  std::int64_t last_ = INT64_MIN / 2;
};

// How often an open file is compared with what stands at its path: with each tick of the clock. In
// between, fstat tells of all that happens to a file but that it was moved away.
inline Lookout path_lookout() {
  return {CLOCK_MONOTONIC_COARSE, 1};
}

constexpr mode_t kPrivateFile = 0600;

[[nodiscard]] UniqueFd open_file(const char* path, int flags, mode_t mode = kPrivateFile);

// Reads a regular file to its end into `text`; EFBIG when it has more than `limit` bytes.
[[nodiscard]] bool read_all(const UniqueFd& file, std::size_t limit, std::string& text);

// Writes all of `text` unless something is in the way, and returns how much it has written.
[[nodiscard]] std::size_t write_all(const UniqueFd& file, std::string_view text);

// Opens or makes a file with a fixed name that must be ours, or `owner`'s; see own_file.h.
[[nodiscard]] UniqueFd open_own(const char* path, int flags, uid_t owner);

}  // namespace standin

#endif
