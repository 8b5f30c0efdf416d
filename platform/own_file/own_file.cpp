#include "own_file.h"

#include <fcntl.h>

#include <cerrno>

namespace {

constexpr int ALWAYS = O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;

int open_patiently(const char* path, int flags, mode_t mode) {
  int fd = -1;
  do {
    fd = open(path, flags | ALWAYS, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool is_own(const struct stat& status, uid_t owner) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         (status.st_uid == geteuid() || status.st_uid == owner);
}

// The descriptor, if the file is ours; otherwise it is closed.
int keep_own(int fd, uid_t owner) {
  struct stat status {};
  if (fd < 0 || (fstat(fd, &status) == 0 && is_own(status, owner))) {
    return fd;
  }
  close(fd);
  errno = EPERM;
  return -1;
}

// Whether something stands at the path that is not ours.
bool is_planted(const char* path, uid_t owner) {
  struct stat status {};
  return lstat(path, &status) == 0 && !is_own(status, owner);
}

}  // namespace

int open_own_to_read(const char* path) {
  return keep_own(open_patiently(path, O_RDONLY, 0), geteuid());
}

int open_own_file(const char* path, int flags, mode_t mode, uid_t owner) {
  const int fd = keep_own(open_patiently(path, flags, 0), owner);
  if (fd >= 0) {
    return fd;
  }
  if (errno != ENOENT) {
    const int error = errno;
    if (!is_planted(path, owner)) {
      errno = error;
      return -1;
    }
    if (unlink(path) != 0) {
      return -1;
    }
  }
  return open_patiently(path, flags | O_CREAT | O_EXCL, mode);
}

int create_own_file(const char* path, mode_t mode) {
  if (unlink(path) != 0 && errno != ENOENT) {
    return -1;
  }
  return open_patiently(path, O_WRONLY | O_CREAT | O_EXCL, mode);
}
