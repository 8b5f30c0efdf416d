#include "files.h"

#include <unistd.h>

#include <array>

#include "own_file.h"

namespace standin {

bool Lookout::due() {
  timespec time{};
  ::clock_gettime(clock_, &time);
  const std::int64_t now = time.tv_sec * INT64_C(1'000'000'000) + time.tv_nsec;
  if (now - last_ < pause_) {
    return false;
  }
  last_ = now;
  return true;
}

namespace {

// The file, above the standard descriptors.
UniqueFd lifted(UniqueFd file) {
  if (file.open() && file.get() <= STDERR_FILENO) {
    return UniqueFd(::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  return file;
}

}  // namespace

UniqueFd open_file(const char* path, int flags, mode_t mode) {
  int number = -1;
  do {
    number = ::open(path, flags | O_CLOEXEC | O_NOCTTY, mode);
  } while (number < 0 && errno == EINTR);
  return lifted(UniqueFd(number));
}

UniqueFd open_own(const char* path, int flags, uid_t owner) {
  return lifted(open_own_file(path, flags, kPrivateFile, owner));
}

bool read_all(const UniqueFd& file, std::size_t limit, std::string& text) {
  text.clear();
  std::array<char, 16384> piece;
  for (;;) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count == 0) {
      return true;
    }
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    text.append(piece.data(), static_cast<std::size_t>(count));
    if (text.size() > limit) {
      errno = EFBIG;
      return false;
    }
  }
}

std::size_t write_all(const UniqueFd& file, std::string_view text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = ::write(file.get(), text.data() + written, text.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      break;
    }
  }
  return written;
}

}  // namespace standin
