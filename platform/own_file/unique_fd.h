// A descriptor that closes itself, for the daemon, the stand-in and the services of a Linux box
// alike: each of them hands on what own_file.h opens.
#ifndef PLATFORM_UNIQUE_FD_H
#define PLATFORM_UNIQUE_FD_H

#include <unistd.h>

#include <cerrno>
#include <utility>

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    const UniqueFd former(std::exchange(fd_, other.release()));
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  // Leaves errno alone: what went wrong before is often told after this.
  ~UniqueFd() {
    if (open()) {
      const int error = errno;
      close(fd_);
      errno = error;
    }
  }

  [[nodiscard]] bool open() const { return fd_ >= 0; }
  [[nodiscard]] int get() const { return fd_; }

  // Gives the descriptor away.
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

#endif
