#include "support/virtual_time.h"

#include <sys/eventfd.h>
#include <sys/timerfd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <string>

#include "support/fake_platform.h"

namespace {

// A virtual timerfd is an eventfd that the test writes when it comes due, so that the
// daemon's own epoll_wait, read and close work on a real descriptor.
struct VirtualTimer {
  int number;
  long due;  // seconds, 0: disarmed
  long interval;
};

long now_seconds = 1000;
constexpr long SUB_SECOND = 700'000'000;
std::map<int, VirtualTimer> timers;
int timers_made = 0;

// The daemon closes timers by itself, and the number may be another file's by now.
bool is_eventfd(int fd) {
  std::error_code closed;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), closed) ==
         "anon_inode:[eventfd]";
}

}  // namespace

void restart_clock() {
  now_seconds = 1000;
  timers.clear();
  timers_made = 0;
}

void move_clock(long seconds) {
  now_seconds += seconds;
  for (auto& [fd, timer] : timers) {
    if (timer.due != 0 && timer.due <= now_seconds && is_eventfd(fd)) {
      (void)eventfd_write(fd, 1);
      timer.due = timer.interval == 0 ? 0 : timer.due + timer.interval;
    }
  }
}

int timer_number(int fd) {
  const auto found = timers.find(fd);
  return found == timers.end() ? 0 : found->second.number;
}

extern "C" {

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  time->tv_sec = clock == CLOCK_MONOTONIC ? now_seconds : 0;  // somebody sets the others
  time->tv_nsec = SUB_SECOND;
  return 0;
}

// One that blocks would stop the daemon where it reads what is no longer due.
int __wrap_timerfd_create(int clock, int flags) {
  if (platform().fails("timerfd_create") || clock != CLOCK_MONOTONIC ||
      (flags & TFD_NONBLOCK) == 0) {
    errno = EMFILE;
    return -1;
  }
  const int fd = eventfd(0, EFD_NONBLOCK);
  timers[fd] = VirtualTimer{.number = ++timers_made, .due = 0, .interval = 0};
  return fd;
}

int __wrap_timerfd_settime(int fd, int flags, const itimerspec* times, itimerspec* /*old*/) {
  if (platform().fails("timerfd_settime") || flags != TFD_TIMER_ABSTIME ||
      times->it_value.tv_nsec != 0) {
    errno = EINVAL;
    return -1;
  }
  eventfd_t drained = 0;
  (void)eventfd_read(fd, &drained);
  timers[fd].due = times->it_value.tv_sec;
  timers[fd].interval = times->it_interval.tv_sec;
  move_clock(0);
  return 0;
}

}  // extern "C"
