// The timer list by itself: periods and limits, and callbacks that kill and make timers.
#include "core/timer_list.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "core/event_socket.h"
#include "support/daemon_test.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

int second = 0;                 // since the test began
std::vector<std::string> runs;  // of the callbacks: which timer's, and when

void tick(int fd) {
  runs.push_back(std::to_string(timer_number(fd)) + " at " + std::to_string(second));
}
void limit(int fd) {
  tick(fd);
  runs.back().insert(0, "limit of ");
}

class TimerListTest : public DaemonTest {
 protected:
  TimerListTest() { second = 0; }

  static int add(int timeout, int interval = 0, int retries = 0, TimerCallback callback = tick,
                 TimerCallback limit_callback = limit) {
    TimerEntry entry{0, timeout, interval, 0, retries, callback, limit_callback};
    const int fd = add_timer(epoll_fd, entry);
    EXPECT_EQ(entry.timer_fd, fd);
    return fd;
  }

  // Passes seconds without the role monitor. Returns the callbacks that ran.
  static std::vector<std::string> run(int seconds) {
    runs.clear();
    dispatch_timers(epoll_fd);
    for (const int end = second + seconds; second < end;) {
      move_clock(1);
      ++second;
      dispatch_timers(epoll_fd);
    }
    return runs;
  }

  static bool is_open(int fd) { return fcntl(fd, F_GETFD) != -1; }
};

TEST_F(TimerListTest, RunsAtEachPeriodAndWithALimitThatOnceAndIsThenGone) {
  const int endless = add(0, 15);
  const int limited = add(5, 4, 6);
  const int single = add(3, 0, 2);
  const int limited_in_silence = add(1, 1, 1, tick, nullptr);
  EXPECT_THAT(run(28), ElementsAre("1 at 0", "4 at 1", "3 at 3", "2 at 5", "2 at 9", "2 at 13",
                                   "1 at 15", "2 at 17", "2 at 21", "2 at 25"));
  EXPECT_TRUE(is_open(limited) && !is_open(limited_in_silence));
  EXPECT_THAT(read_file("/proc/self/fdinfo/" + std::to_string(epoll_fd)),
              testing::ContainsRegex("events: +19 "))
      << "what is not read at once comes again";
  printed();
  EXPECT_THAT(run(1), ElementsAre("limit of 2 at 29"));
  const std::string number = std::to_string(limited);
  EXPECT_THAT(printed(),
              testing::StartsWith("reach retry limitation, remove the timer fd: " + number +
                                  "\ndel timerfd: " + number + "\n[del_timer_from_timer_list]["));
  EXPECT_EQ(run(15 * 400).size(), 400U);
  EXPECT_TRUE(is_open(endless) && is_open(single) && !is_open(limited));
  del_timer(epoll_fd, single);
  EXPECT_FALSE(is_open(single));
}

TEST_F(TimerListTest, CountsOneExpiryForADispatchHoweverManyWereMissed) {
  add(5, 5, 2);
  for (int i = 0; i < 3; ++i) {
    move_clock(5);
  }
  EXPECT_THAT(run(10), ElementsAre("1 at 0", "1 at 5", "limit of 1 at 10"));
}

TEST_F(TimerListTest, UpdateArmsAnewAndReplacesTheRecord) {
  const int fd = add(5, 5, 6);
  run(7);
  TimerEntry entry{};
  get_timer_from_timer_list(fd, entry);
  EXPECT_EQ(entry.retry_count, 1);
  EXPECT_EQ(entry.timer_fd, fd);
  EXPECT_EQ(update_timer(fd, TimerEntry{fd, 9, 0, 0, 0, limit, nullptr}), 0);
  EXPECT_THAT(run(20), ElementsAre("limit of 1 at 16"));
}

TEST_F(TimerListTest, AnUnknownDescriptorIsNamedAndLeftAlone) {
  const int other = open("/dev/null", O_RDONLY);
  TimerEntry entry{};
  entry.timeout = 77;
  get_timer_from_timer_list(other, entry);
  EXPECT_EQ(entry.timeout, 77);
  update_timer_in_timer_list(other, entry);
  del_timer(epoll_fd, other);
  EXPECT_TRUE(is_open(other));
  const std::string line =
      "\\]\\[[0-9]+\\] Cannot find timerfd: " + std::to_string(other) + " from timer list\n";
  EXPECT_THAT(printed(), testing::MatchesRegex("\\[get_timer_from_timer_list" + line +
                                               "\\[update_timer_in_timer_list" + line +
                                               "del timerfd: [0-9]+\n" +
                                               "\\[del_timer_from_timer_list" + line));
  for (const int none : {0, -1}) {
    del_timer(epoll_fd, none);
    EXPECT_TRUE(is_open(STDIN_FILENO));
  }
  close(other);
}

TEST_F(TimerListTest, ACallbackMayDeleteItselfOrAnotherOrAddOne) {
  static int victim;
  add(2, 0, 0, [](int fd) { tick(fd), del_timer(epoll_fd, fd); });
  add(2, 0, 0, [](int fd) { tick(fd), del_timer(epoll_fd, victim); });
  victim = add(2);
  add(2, 0, 0, [](int fd) { tick(fd), add(1); });
  EXPECT_THAT(run(3), ElementsAre("1 at 2", "2 at 2", "4 at 2", "5 at 3"));
}

TEST_F(TimerListTest, ATimerThatGetsTheNumberOfADeadOneIsNotTakenForIt) {
  // Deleted and replaced under the same number within one pass: not yet due, so it must not run.
  static int replaced;
  add(2, 0, 0, [](int) {
    del_timer(epoll_fd, replaced);
    EXPECT_EQ(add(5), replaced);
  });
  replaced = add(2);
  EXPECT_THAT(run(7), ElementsAre("3 at 7"));
}

TEST_F(TimerListTest, ALimitCallbackThatReplacesItsTimerLeavesTheNewOneAlive) {
  add(1, 1, 1, tick, [](int fd) {
    del_timer(epoll_fd, fd);
    EXPECT_EQ(add(4, 4), fd);
  });
  EXPECT_THAT(run(6), ElementsAre("1 at 1", "2 at 6"));
}

TEST_F(TimerListTest, WhatTheSystemRefusesIsToldOnceAndLeavesNothingBehind) {
  const int before = open_descriptors();
  for (const std::string refused : {"timerfd_create", "timerfd_settime"}) {
    platform().fails = [&](const std::string& call) { return call == refused; };
    EXPECT_EQ(add(5) + add(5), -2) << "told once";
  }
  platform().fails = [](const std::string&) { return false; };
  const int epoll = std::exchange(epoll_fd, -1);
  EXPECT_EQ(add(5), -1);
  dispatch_timers(epoll_fd);
  EXPECT_EQ(printed(), "");
  move_clock(1);
  EXPECT_TRUE(may_ask_again());
  rlimit room{};
  getrlimit(RLIMIT_NOFILE, &room);
  const rlimit none{.rlim_cur = 0, .rlim_max = room.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(init_epoll() + init_epoll(), -2);
  setrlimit(RLIMIT_NOFILE, &room);
  EXPECT_EQ(printed(), "epoll create failed.\n") << "told once";
  EXPECT_FALSE(may_ask_again());
  epoll_fd = epoll;
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_THAT(run(10), testing::IsEmpty());
  EXPECT_THAT(messages(), testing::MatchesRegex("no timer: it cannot be created: [^\n]+\n"
                                                "no timer: it cannot be armed: [^\n]+\n"
                                                "no timer: it cannot be registered: [^\n]+\n"));
}

TEST_F(TimerListTest, SixteenFitAndAFullListIsToldOnceUntilATimerIsGranted) {
  const int before = open_descriptors();
  platform().fails = [](const std::string& call) { return call == "timerfd_settime"; };
  EXPECT_EQ(add(5), -1);
  platform().fails = [](const std::string&) { return false; };
  forget();
  int granted = 0;
  for (int i = 0; i < MAX_TIMERS; ++i) {
    granted = add(5);
    EXPECT_GT(granted, 0) << "a slot was lost";
  }
  EXPECT_EQ(add(5) + add(5), -2);
  EXPECT_EQ(open_descriptors(), before + MAX_TIMERS);
  EXPECT_THAT(messages(), testing::MatchesRegex("no timer: the timer list is full: [^\n]+\n"));
  EXPECT_EQ(run(5).size(), 16U);
  del_timer(epoll_fd, granted);
  EXPECT_GT(add(5), 0);
  forget();
  EXPECT_EQ(add(5), -1);
  EXPECT_THAT(messages(), testing::StartsWith("no timer: ")) << "told again after one was granted";
}

}  // namespace
