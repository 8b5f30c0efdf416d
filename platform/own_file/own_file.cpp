#include "own_file.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>

namespace {

constexpr int ALWAYS = O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;

// Others may make, replace or remove a file of that name between two of our calls: then all begins
// anew, so often at most.
constexpr int ATTEMPTS = 50;

UniqueFd open_patiently(const char* path, int flags, mode_t mode) {
  int fd = -1;
  do {
    fd = open(path, flags | ALWAYS, mode);
  } while (fd < 0 && errno == EINTR);
  return UniqueFd(fd);
}

bool is_own(const struct stat& status, uid_t owner) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         (status.st_uid == geteuid() || status.st_uid == owner);
}

// The file, if it is ours. EAGAIN: it was replaced or removed since it was opened.
UniqueFd keep_own(UniqueFd file, uid_t owner) {
  struct stat status {};
  if (!file.open()) {
    return file;
  }
  const bool seen = fstat(file.get(), &status) == 0;
  if (seen && is_own(status, owner)) {
    return file;
  }
  errno = seen && status.st_nlink == 0 ? EAGAIN : EPERM;
  return UniqueFd();
}

// A memory file system shows the old file until it has put the new one there, for as long as
// whoever does that is kept from going on.
void stand_back(int attempt) {
  if (attempt >= 4) {
    poll(nullptr, 0, 1);
    errno = EAGAIN;
  }
}

// Whether something stands at the path that is not ours. What is too large, or of too late a date,
// for a C library of 32 bits is not.
bool is_planted(const char* path, uid_t owner) {
  struct stat status {};
  return lstat(path, &status) == 0 ? !is_own(status, owner) : errno == EOVERFLOW;
}

}  // namespace

UniqueFd open_own_to_read(const char* path) {
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    UniqueFd file = keep_own(open_patiently(path, O_RDONLY, 0), geteuid());
    if (file.open() || errno != EAGAIN) {
      return file;
    }
    stand_back(attempt);
  }
  return UniqueFd();
}

UniqueFd open_own_file(const char* path, int flags, mode_t mode, uid_t owner) {
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    UniqueFd file = keep_own(open_patiently(path, flags, 0), owner);
    if (file.open()) {
      return file;
    }
    const int error = errno;
    if (error == EAGAIN) {
      stand_back(attempt);
      continue;
    }
    if (error != ENOENT && !is_planted(path, owner)) {
      errno = error;
      if (error == EPERM || error == ELOOP) {
        continue;  // It was another's, and is gone.
      }
      return UniqueFd();
    }
    if (error != ENOENT && unlink(path) != 0 && errno != ENOENT) {
      return UniqueFd();
    }
    file = open_patiently(path, flags | O_CREAT | O_EXCL, mode);
    if (file.open() || errno != EEXIST) {
      return file;
    }
  }
  return UniqueFd();
}

UniqueFd create_own_file(const char* path, mode_t mode) {
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    if (unlink(path) != 0 && errno != ENOENT) {
      return UniqueFd();
    }
    UniqueFd file = open_patiently(path, O_WRONLY | O_CREAT | O_EXCL, mode);
    if (file.open() || errno != EEXIST) {
      return file;
    }
  }
  return UniqueFd();
}
