// A descriptor that closes itself.
#ifndef VORLENT_CORE_UNIQUE_FD_H
#define VORLENT_CORE_UNIQUE_FD_H

#include <unistd.h>

#include <utility>

class UniqueFd {
 public:
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }

  [[nodiscard]] bool open() const { return fd_ >= 0; }
  [[nodiscard]] int get() const { return fd_; }

  // Gives the descriptor away.
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

#endif
