#include "files.h"

#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "own_file.h"

namespace standin {

Fd& Fd::operator=(Fd&& other) noexcept {
  if (this != &other) {
    reset();
    number_ = other.release();
  }
  return *this;
}

int Fd::release() noexcept {
  const int number = number_;
  number_ = -1;
  return number;
}

void Fd::reset() noexcept {
  if (open()) {
    const KeepErrno keep;
    ::close(release());
  }
}

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
Fd lifted(int number) {
  Fd file(number);
  if (number >= 0 && number <= STDERR_FILENO) {
    return Fd(::fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  return file;
}

}  // namespace

Fd open_file(const char* path, int flags, mode_t mode) {
  int number = -1;
  do {
    number = ::open(path, flags | O_CLOEXEC | O_NOCTTY, mode);
  } while (number < 0 && errno == EINTR);
  return lifted(number);
}

Fd open_own(const char* path, int flags, uid_t owner) {
  return lifted(open_own_file(path, flags, kPrivateFile, owner));
}

bool read_all(const Fd& file, std::size_t limit, std::string& text) {
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

std::size_t write_all(const Fd& file, std::string_view text) {
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

bool lock_exclusively(const Fd& file) {
  constexpr timespec kPause{.tv_sec = 0, .tv_nsec = 1'000'000};
  Lookout patience{CLOCK_MONOTONIC, INT64_C(2'000'000'000)};
  static_cast<void>(patience.due());
  while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EINTR && errno != EWOULDBLOCK) || patience.due()) {
      return false;
    }
    const KeepErrno keep;
    ::nanosleep(&kPause, nullptr);
  }
  return true;
}

namespace {

bool take_owner_and_mode(const Fd& file, const char* model) {
  struct stat status {};
  if (::stat(model, &status) != 0) {
    return true;
  }
  // Only root may give a file away; anybody else's own file is right as it is.
  const KeepErrno keep;
  [[maybe_unused]] const int given = ::fchown(file.get(), status.st_uid, status.st_gid);
  return ::fchmod(file.get(), status.st_mode & 0777) == 0;
}

bool sync_folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Fd opened = open_file(folder.c_str(), O_RDONLY | O_DIRECTORY);
  // EINVAL: a file system that has nothing to sync for a folder.
  return opened.open() && (::fsync(opened.get()) == 0 || errno == EINVAL);
}

bool write_temporary(const std::string& temporary, const char* model, std::string_view text,
                     bool synced) {
  const Fd file = open_file(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
  return file.open() && take_owner_and_mode(file, model) && write_all(file, text) == text.size() &&
         (!synced || ::fsync(file.get()) == 0);
}

}  // namespace

bool replace_file(const std::string& path, const std::string& temporary, const char* model,
                  std::string_view text, bool synced) {
  if (::unlink(temporary.c_str()) != 0 && errno != ENOENT) {
    return false;
  }
  if (!write_temporary(temporary, model, text, synced) ||
      ::rename(temporary.c_str(), path.c_str()) != 0) {
    const KeepErrno keep;
    ::unlink(temporary.c_str());
    return false;
  }
  return !synced || sync_folder_of(path);
}

}  // namespace standin
