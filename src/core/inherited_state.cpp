#include "core/inherited_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

// The system call is younger than the C libraries of many routers, and than some of their kernels.
// The limit of descriptors is no bound to walk to: it may be a thousand million, or lowered since.
void close_from(int first) {
#ifdef SYS_close_range
  if (syscall(SYS_close_range, static_cast<unsigned>(first), ~0U, 0U) == 0) {
    return;
  }
#endif
  DIR* open_now = opendir("/proc/self/fd");
  const dirent* entry = nullptr;
  while (open_now != nullptr && (entry = readdir(open_now)) != nullptr) {
    const int fd = static_cast<int>(strtol(static_cast<const char*>(entry->d_name), nullptr, 10));
    if (fd >= first && fd != dirfd(open_now)) {
      close(fd);
    }
  }
  if (open_now != nullptr) {
    closedir(open_now);
  }
}

void open_standard_descriptors() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) {
    fd = open("/dev/null", O_RDWR);
  }
  if (fd > STDERR_FILENO) {
    close(fd);
  }
}

}  // namespace

void shed_inherited_state() {
  umask(S_IWGRP | S_IWOTH);
  (void)signal(SIGCHLD, SIG_DFL);
  close_from(STDERR_FILENO + 1);
  open_standard_descriptors();
}
