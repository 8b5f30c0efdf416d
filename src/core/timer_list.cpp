#include "core/timer_list.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "core/log.h"
#include "core/retry_pause.h"
#include "unique_fd.h"

namespace {

constexpr const char* AS_ADD_TIMER = "add_timer";

struct TimerSlot {
  TimerEntry entry;
  std::uint32_t generation;  // differs for every timer that was ever stored
};

std::array<TimerSlot, MAX_TIMERS> timer_list{};
std::uint32_t last_generation = 0;

// The slot of a descriptor, or -1. Numbers that mean "no timer" are in no slot.
int find_timer_in_timer_list(int timer_fd) {
  if (timer_fd <= 0) {
    return -1;
  }
  for (int i = 0; i < MAX_TIMERS; ++i) {
    if (timer_list[static_cast<std::size_t>(i)].entry.timer_fd == timer_fd) {
      return i;
    }
  }
  return -1;
}

TimerSlot* slot_of(int timer_fd) {
  const int index = find_timer_in_timer_list(timer_fd);
  return index < 0 ? nullptr : &timer_list[static_cast<std::size_t>(index)];
}

TimerSlot* free_slot() {
  for (TimerSlot& slot : timer_list) {
    if (slot.entry.timer_fd == 0) {
      return &slot;
    }
  }
  return nullptr;
}

// `done` is what the operation does to a timer that is in the list, `where` the word that goes with
// it.
void trace(const char* func, int line, bool found, int timer_fd, const char* done,
           const char* where = "from") {
  (void)printf("[%s][%d] %s timerfd: %d %s timer list\n", func, line, found ? done : "Cannot find",
               timer_fd, found ? where : "from");
}

// Arms on whole seconds; the sub-second part of the current time, which is stored in `now`, is
// dropped.
int arm(int timer_fd, const TimerEntry& entry, timespec& now) {
  clock_gettime(CLOCK_MONOTONIC, &now);
  itimerspec times{};
  times.it_value.tv_sec = now.tv_sec + entry.timeout;
  times.it_interval.tv_sec = entry.retry_interval;
  return timerfd_settime(timer_fd, TFD_TIMER_ABSTIME, &times, nullptr);
}

void print_time(const timespec& now) {
  (void)printf("cur_time: %ld sec %ld ns\n", static_cast<long>(now.tv_sec), now.tv_nsec);
}

int epoll_add_fd(int epoll, int fd) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = fd;
  return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

int epoll_del_fd(int epoll, int fd) {
  return epoll_ctl(epoll, EPOLL_CTL_DEL, fd, nullptr);
}

void add_timer_to_timer_list(TimerSlot& slot, const TimerEntry& entry) {
  slot = TimerSlot{.entry = entry, .generation = ++last_generation};
}

// True when the descriptor has an expiration to report. A timer that was armed anew since the wait
// has none, and what came of the number since then must not be taken for an expiry.
bool take_expiration(int timer_fd) {
  std::uint64_t expirations = 0;
  return read(timer_fd, &expirations, sizeof expirations) ==
         static_cast<ssize_t>(sizeof expirations);
}

void reach_limit(int epoll, int timer_fd, const TimerSlot& slot) {
  (void)printf("reach retry limitation, remove the timer fd: %d\n", timer_fd);
  const std::uint32_t generation = slot.generation;
  if (slot.entry.limit_callback != nullptr) {
    slot.entry.limit_callback(timer_fd);
  }
  const TimerSlot* left = slot_of(timer_fd);
  if (left != nullptr && left->generation == generation) {
    del_timer(epoll, timer_fd);
  }
}

void expire(int epoll, int timer_fd) {
  TimerSlot* slot = slot_of(timer_fd);
  if (slot == nullptr || !take_expiration(timer_fd)) {
    return;
  }
  TimerEntry& entry = slot->entry;
  if (entry.retry_interval > 0 && entry.retry_limit > 0) {
    if (entry.retry_count >= entry.retry_limit) {
      reach_limit(epoll, timer_fd, *slot);
      return;
    }
    ++entry.retry_count;
  }
  if (entry.callback != nullptr) {
    entry.callback(timer_fd);
  }
}

// Commands that the daemon runs must not inherit its descriptors: the next daemon may be a
// descendant of one, and would start with those of all before it.
void close_on_exec(int fd) {
  (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
}

const char* told_refusal = nullptr;  // the last, until a timer is granted
bool epoll_refused = false;
RetryPause refusal_pause;

// Told once for each step: the timer is asked for again each turn, thousands a second in a flood.
int refuse_timer(const char* why) {
  const int error = errno;
  begin(refusal_pause);
  if (why != told_refusal) {
    told_refusal = why;
    ONBOARD_LOG_AS(AS_ADD_TIMER, "no timer: %s: %s\n", why, strerror(error));
  }
  return -1;
}

}  // namespace

int init_epoll() {
  const int epoll = epoll_create1(0);
  if (epoll < 0) {
    begin(refusal_pause);
    if (!std::exchange(epoll_refused, true)) {
      (void)puts("epoll create failed.");
    }
    return -1;
  }
  epoll_refused = false;
  close_on_exec(epoll);
  return epoll;
}

int add_timer(int epoll, TimerEntry& entry) {
  entry.timer_fd = -1;
  TimerSlot* slot = free_slot();
  if (slot == nullptr) {
    errno = ENOSPC;
    return refuse_timer("the timer list is full");
  }
  UniqueFd timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK));
  if (!timer.open()) {
    return refuse_timer("it cannot be created");
  }
  close_on_exec(timer.get());
  timespec now{};
  if (arm(timer.get(), entry, now) != 0) {
    return refuse_timer("it cannot be armed");
  }
  if (epoll_add_fd(epoll, timer.get()) != 0) {
    return refuse_timer("it cannot be registered");
  }
  told_refusal = nullptr;
  print_time(now);
  entry.timer_fd = timer.release();
  (void)printf("add timerfd: %d, timeout in %d secs, retry interval: %d \n", entry.timer_fd,
               entry.timeout, entry.retry_interval);
  add_timer_to_timer_list(*slot, entry);
  return entry.timer_fd;
}

int update_timer(int timer_fd, const TimerEntry& entry) {
  timespec now{};
  const int armed = arm(timer_fd, entry, now);
  print_time(now);
  if (armed != 0) {
    ONBOARD_LOG("timerfd %d cannot be armed: %s\n", timer_fd, strerror(errno));
  }
  update_timer_in_timer_list(timer_fd, entry);
  (void)printf("update timerfd: %d, timeout in %d secs, retry interval: %d \n", timer_fd,
               entry.timeout, entry.retry_interval);
  return 0;
}

int del_timer(int epoll, int timer_fd) {
  (void)printf("del timerfd: %d\n", timer_fd);
  const bool listed = slot_of(timer_fd) != nullptr;
  if (listed) {
    const itimerspec disarmed{};
    timerfd_settime(timer_fd, TFD_TIMER_ABSTIME, &disarmed, nullptr);
  }
  del_timer_from_timer_list(timer_fd);
  if (listed) {
    epoll_del_fd(epoll, timer_fd);
    close(timer_fd);
  }
  return 0;
}

void get_timer_from_timer_list(int timer_fd, TimerEntry& entry) {
  const TimerSlot* slot = slot_of(timer_fd);
  if (slot != nullptr) {
    entry = slot->entry;
  }
  trace(__func__, __LINE__, slot != nullptr, timer_fd, "got");
}

void update_timer_in_timer_list(int timer_fd, const TimerEntry& entry) {
  TimerSlot* slot = slot_of(timer_fd);
  if (slot != nullptr) {
    slot->entry = entry;
  }
  trace(__func__, __LINE__, slot != nullptr, timer_fd, "Replace", "in");
}

void del_timer_from_timer_list(int timer_fd) {
  TimerSlot* slot = slot_of(timer_fd);
  if (slot != nullptr) {
    *slot = TimerSlot{};
  }
  trace(__func__, __LINE__, slot != nullptr, timer_fd, "Remove");
}

void dispatch_timers(int epoll) {
  std::array<epoll_event, MAX_TIMERS> ready{};
  const int count = epoll_wait(epoll, ready.data(), MAX_TIMERS, 0);
  for (int i = 0; i < count; ++i) {
    expire(epoll, ready[static_cast<std::size_t>(i)].data.fd);
  }
}

bool may_ask_again() {
  return is_over(refusal_pause);
}

void reset_timer_list() {
  told_refusal = nullptr;
  epoll_refused = false;
  refusal_pause = RetryPause{};
  for (TimerSlot& slot : timer_list) {
    if (slot.entry.timer_fd > 0) {
      close(slot.entry.timer_fd);
    }
    slot = TimerSlot{};
  }
}
