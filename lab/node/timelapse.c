/* Preloaded into a daemon whose clock shall run faster than the machine's: the monotonic clock, the
 * timers that are set by it and the waits of select and epoll follow the page that the laboratory
 * shares. The daemon itself is unmodified and knows nothing of it.
 *
 * A timer is remembered as the daemon set it. When the rate changes, the next wait sets every timer
 * anew, so that a wait of minutes that was begun at the machine's pace ends early. */
#define _GNU_SOURCE
#include "base/shared_clock.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#define TIMERS 64 /* descriptors above are left alone */
#define SECOND 1000000000LL

static const volatile struct shared_clock* page;
static struct itimerspec wanted[TIMERS]; /* in the unit's time, absolute */
static uint32_t seen;                    /* the page's sequence at the last setting of the timers */

static int (*real_gettime)(clockid_t, struct timespec*);
static int (*real_settime)(int, int, const struct itimerspec*, struct itimerspec*);
static int (*real_select)(int, fd_set*, fd_set*, fd_set*, struct timeval*);
static int (*real_epoll_wait)(int, struct epoll_event*, int, int);

__attribute__((constructor)) static void begin(void) {
  *(void**)&real_gettime = dlsym(RTLD_NEXT, "clock_gettime");
  *(void**)&real_settime = dlsym(RTLD_NEXT, "timerfd_settime");
  *(void**)&real_select = dlsym(RTLD_NEXT, "select");
  *(void**)&real_epoll_wait = dlsym(RTLD_NEXT, "epoll_wait");
  unsetenv("LD_PRELOAD"); /* the daemon's commands run at the machine's pace */
  const int fd = open("/run/bin/clock", O_RDONLY | O_CLOEXEC);
  if (fd >= 0) {
    void* found = mmap(NULL, sizeof(struct shared_clock), PROT_READ, MAP_SHARED, fd, 0);
    page = found == MAP_FAILED ? NULL : found;
    close(fd);
  }
}

static struct shared_clock read_page(void) {
  struct shared_clock copy;
  do {
    copy.sequence = page->sequence;
    atomic_thread_fence(memory_order_acquire);
    copy.rate = page->rate;
    copy.real_base = page->real_base;
    copy.virtual_base = page->virtual_base;
    atomic_thread_fence(memory_order_acquire);
  } while ((copy.sequence & 1) != 0 || copy.sequence != page->sequence);
  return copy;
}

static int64_t nanoseconds(struct timespec time) {
  return time.tv_sec * SECOND + time.tv_nsec;
}

static struct timespec timespec_of(int64_t value) {
  return (struct timespec){.tv_sec = value / SECOND, .tv_nsec = value % SECOND};
}

int clock_gettime(clockid_t clock, struct timespec* now) {
  const int result = real_gettime(clock, now);
  if (result == 0 && clock == CLOCK_MONOTONIC && page != NULL) {
    const struct shared_clock at = read_page();
    *now = timespec_of(at.virtual_base + (nanoseconds(*now) - at.real_base) * at.rate);
  }
  return result;
}

static int set_timer(int fd, const struct itimerspec* value, struct itimerspec* old) {
  struct itimerspec real = *value;
  const struct shared_clock at = read_page();
  if (nanoseconds(value->it_value) != 0) {
    const int64_t span = nanoseconds(value->it_value) - at.virtual_base;
    const int64_t when = at.real_base + span / at.rate;
    real.it_value = timespec_of(when > 1 ? when : 1);
  }
  real.it_interval = timespec_of(nanoseconds(value->it_interval) / at.rate);
  return real_settime(fd, TFD_TIMER_ABSTIME, &real, old);
}

int timerfd_settime(int fd, int flags, const struct itimerspec* value, struct itimerspec* old) {
  if (page == NULL || (flags & TFD_TIMER_ABSTIME) == 0 || fd < 0 || fd >= TIMERS) {
    return real_settime(fd, flags, value, old);
  }
  wanted[fd] = *value;
  return set_timer(fd, value, old);
}

/* The next expiry of a timer at or behind the unit's present. */
static void follow(struct itimerspec* timer, int64_t now) {
  const int64_t interval = nanoseconds(timer->it_interval);
  const int64_t first = nanoseconds(timer->it_value);
  if (interval > 0 && first <= now) {
    timer->it_value = timespec_of(first + ((now - first) / interval + 1) * interval);
  }
}

static int32_t catch_up(void) {
  if (page == NULL) {
    return 1;
  }
  const struct shared_clock at = read_page();
  if (at.sequence != seen) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    for (int fd = 0; fd < TIMERS; ++fd) {
      struct itimerspec left;
      if (nanoseconds(wanted[fd].it_value) != 0 && timerfd_gettime(fd, &left) == 0 &&
          nanoseconds(left.it_value) != 0) {
        follow(&wanted[fd], nanoseconds(now));
        set_timer(fd, &wanted[fd], NULL);
      }
    }
    seen = at.sequence;
  }
  return at.rate;
}

int select(int count, fd_set* in, fd_set* out, fd_set* except, struct timeval* timeout) {
  const int32_t rate = catch_up();
  if (timeout == NULL || rate <= 1) {
    return real_select(count, in, out, except, timeout);
  }
  const int64_t wait = (timeout->tv_sec * 1000000LL + timeout->tv_usec) / rate;
  struct timeval shorter = {.tv_sec = wait / 1000000, .tv_usec = wait % 1000000};
  return real_select(count, in, out, except, &shorter);
}

int epoll_wait(int epoll, struct epoll_event* events, int count, int timeout) {
  const int32_t rate = catch_up();
  return real_epoll_wait(epoll, events, count, timeout > 1 ? 1 + timeout / rate : timeout);
}
