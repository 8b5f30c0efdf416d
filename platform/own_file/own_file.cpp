#include "own_file.h"

#include <fcntl.h>

#include <cerrno>

namespace {

constexpr int ALWAYS = O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;

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

// The file, if it is ours.
UniqueFd keep_own(UniqueFd file, uid_t owner) {
  struct stat status {};
  if (!file.open() || (fstat(file.get(), &status) == 0 && is_own(status, owner))) {
    return file;
  }
  errno = EPERM;
  return UniqueFd();
}

// Whether something stands at the path that is not ours.
bool is_planted(const char* path, uid_t owner) {
  struct stat status {};
  return lstat(path, &status) == 0 && !is_own(status, owner);
}

}  // namespace

UniqueFd open_own_to_read(const char* path) {
  return keep_own(open_patiently(path, O_RDONLY, 0), geteuid());
}

UniqueFd open_own_file(const char* path, int flags, mode_t mode, uid_t owner) {
  UniqueFd file = keep_own(open_patiently(path, flags, 0), owner);
  if (file.open()) {
    return file;
  }
  if (errno != ENOENT) {
    const int error = errno;
    if (!is_planted(path, owner)) {
      errno = error;
      return UniqueFd();
    }
    if (unlink(path) != 0) {
      return UniqueFd();
    }
  }
  return open_patiently(path, flags | O_CREAT | O_EXCL, mode);
}

UniqueFd create_own_file(const char* path, mode_t mode) {
  if (unlink(path) != 0 && errno != ENOENT) {
    return UniqueFd();
  }
  return open_patiently(path, O_WRONLY | O_CREAT | O_EXCL, mode);
}
