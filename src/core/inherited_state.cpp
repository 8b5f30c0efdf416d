#include "core/inherited_state.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

namespace {

// The system call is younger than the C libraries of many routers, and than some of their kernels.
void close_from(int first) {
#ifdef SYS_close_range
  if (syscall(SYS_close_range, static_cast<unsigned>(first), ~0U, 0U) == 0) {
    return;
  }
#endif
  const long limit = sysconf(_SC_OPEN_MAX);
  for (int fd = first; fd < limit; ++fd) {
    close(fd);
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
