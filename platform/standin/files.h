// Descriptors and whole-file operations for the stand-in: reading a file up to a bound, writing
// all of a text, and replacing a file so that nobody ever sees half of it.
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

namespace standin {

// Owns one descriptor.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int number) : number_(number) {}
  Fd(Fd&& other) noexcept : number_(other.release()) {}
  Fd& operator=(Fd&& other) noexcept;
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  ~Fd() { reset(); }

  [[nodiscard]] bool open() const { return number_ >= 0; }
  [[nodiscard]] int get() const { return number_; }
  [[nodiscard]] int release() noexcept;
  void reset() noexcept;

 private:
  int number_ = -1;
};

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

[[nodiscard]] Fd open_file(const char* path, int flags, mode_t mode = kPrivateFile);

// Reads a regular file to its end into `text`; EFBIG when it has more than `limit` bytes.
[[nodiscard]] bool read_all(const Fd& file, std::size_t limit, std::string& text);

// Writes all of `text` unless something is in the way, and returns how much it has written.
[[nodiscard]] std::size_t write_all(const Fd& file, std::string_view text);

// Opens or makes a file with a fixed name that must be ours, or `owner`'s; see own_file.h.
[[nodiscard]] Fd open_own(const char* path, int flags, uid_t owner);

// Waits up to 2 seconds for the exclusive lock of an open file, so that nobody who holds it stops
// us for good; it goes with the descriptor.
[[nodiscard]] bool lock_exclusively(const Fd& file);

// Replaces `path` by a file that holds `text`, by way of the file `temporary` in the same folder,
// which must be nobody else's at the time. A leftover of that name is removed, and so is the new
// one when anything fails; `path` is then as before. Owner and mode are those of `model`, if there
// is such a file, so that a command run by root does not lock a store's owner out.
// With `synced`, file and folder are on the disk when it returns.
[[nodiscard]] bool replace_file(const std::string& path, const std::string& temporary,
                                const char* model, std::string_view text, bool synced);

}  // namespace standin

#endif
