// The timer list by itself: periods and limits, and callbacks that kill and make timers.
#include "core/timer_list.h"

#include <fcntl.h>
#include <unistd.h>

#include "core/event_socket.h"
#include "support/daemon_test.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> runs;  // what the callbacks did, in order

void tick(int fd) {
  runs.push_back("tick " + std::to_string(fd));
}
void limit(int fd) {
  runs.push_back("limit " + std::to_string(fd));
}

class TimerListTest : public DaemonTest {
 protected:
  TimerListTest() { runs.clear(); }

  static int add(int timeout, int interval = 0, int retries = 0, TimerCallback callback = tick,
                 TimerCallback limit_callback = limit) {
    TimerEntry entry{0, timeout, interval, 0, retries, callback, limit_callback};
    const int fd = add_timer(epoll_fd, entry);
    EXPECT_EQ(entry.timer_fd, fd);
    return fd;
  }

  // Passes seconds without the role monitor. Returns how many callbacks ran.
  static std::size_t run(int seconds) {
    const std::size_t before = runs.size();
    for (int i = 0; i < seconds; ++i) {
      move_clock(1);
      dispatch_timers(epoll_fd, 0);
    }
    return runs.size() - before;
  }

  static bool is_open(int fd) { return fcntl(fd, F_GETFD) != -1; }
};

TEST_F(TimerListTest, RunsItsCallbackAtEachPeriodAndTheLimitOnceThenIsGone) {
  const int fd = add(5, 4, 6);
  EXPECT_EQ(run(4), 0U);
  EXPECT_EQ(run(1 + 5 * 4), 6U);
  EXPECT_EQ(runs.back(), "tick " + std::to_string(fd));
  EXPECT_EQ(run(3), 0U);
  EXPECT_TRUE(is_open(fd));
  EXPECT_EQ(run(1), 1U);
  EXPECT_EQ(runs.back(), "limit " + std::to_string(fd));
  EXPECT_FALSE(is_open(fd));
  EXPECT_EQ(run(100), 0U);
  const std::string number = std::to_string(fd);
  EXPECT_THAT(printed(), HasSubstr("\nreach retry limitation, remove the timer fd: " + number +
                                   "\ndel timerfd: " + number + "\n[del_timer_from_timer_list]["));
}

TEST_F(TimerListTest, WithoutIntervalRunsOnceWhateverTheLimitAndStaysUntilDeleted) {
  const int fd = add(3, 0, 2);
  EXPECT_EQ(run(50), 1U);
  EXPECT_TRUE(is_open(fd));
  del_timer(epoll_fd, fd);
  EXPECT_FALSE(is_open(fd));
}

TEST_F(TimerListTest, WithoutLimitRunsForeverAndWithTimeoutZeroAtOnce) {
  add(0, 15, 0);
  EXPECT_FALSE(wait_for_event(-1, epoll_fd, -1)) << "an expired timer ends the wait for events";
  dispatch_timers(epoll_fd, 0);
  EXPECT_EQ(runs.size(), 1U);
  EXPECT_EQ(run(15 * 400), 400U);
}

TEST_F(TimerListTest, CountsOneExpiryForADispatchHoweverManyWereMissed) {
  add(5, 5, 2);
  for (int i = 0; i < 3; ++i) {
    move_clock(5);
  }
  dispatch_timers(epoll_fd, 0);
  EXPECT_EQ(runs.size(), 1U);
  EXPECT_EQ(run(10), 2U);  // one more callback, then the limit
  EXPECT_THAT(runs.back(), StartsWith("limit"));
}

TEST_F(TimerListTest, UpdateArmsAnewAndReplacesTheRecord) {
  const int fd = add(5, 5, 6);
  run(7);
  TimerEntry entry{};
  get_timer_from_timer_list(fd, entry);
  EXPECT_EQ(entry.retry_count, 1);
  EXPECT_EQ(entry.timer_fd, fd);
  entry = TimerEntry{fd, 9, 0, 0, 0, limit, nullptr};
  EXPECT_EQ(update_timer(fd, entry), 0);
  EXPECT_EQ(run(8), 0U);
  EXPECT_EQ(run(1), 1U);
  EXPECT_EQ(runs.back(), "limit " + std::to_string(fd));
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
  add(2, 0, 0, [](int fd) { del_timer(epoll_fd, fd), runs.emplace_back("self"); });
  static int victim;
  add(2, 0, 0, [](int) { del_timer(epoll_fd, victim), runs.emplace_back("other"); });
  victim = add(2, 0, 0, tick);
  add(2, 0, 0, [](int) { add(1), runs.emplace_back("added"); });
  run(2);
  EXPECT_THAT(runs, ElementsAre("self", "other", "added"));
  EXPECT_EQ(run(1), 1U);
  EXPECT_THAT(runs.back(), HasSubstr("tick"));
}

TEST_F(TimerListTest, ATimerThatGetsTheNumberOfADeadOneIsNotTakenForIt) {
  // Deleted and replaced under the same number within one pass: not yet due, so it must not run.
  static int second;
  add(2, 0, 0, [](int) {
    del_timer(epoll_fd, second);
    EXPECT_EQ(add(5), second);
  });
  second = add(2);
  EXPECT_EQ(run(2), 0U);
  EXPECT_EQ(run(5), 1U);
}

TEST_F(TimerListTest, ALimitCallbackThatReplacesItsTimerLeavesTheNewOneAlive) {
  int timer = add(1, 1, 1, tick, [](int fd) {
    del_timer(epoll_fd, fd);
    EXPECT_EQ(add(4, 4), fd);
  });
  run(2);
  EXPECT_TRUE(is_open(timer));
  EXPECT_EQ(run(4), 1U);
  timer = add(1, 1, 1, tick, nullptr);
  run(2);
  EXPECT_FALSE(is_open(timer));
}

TEST_F(TimerListTest, SixteenFitAndWhatIsRefusedLeavesNothingBehind) {
  const int before = open_descriptors();
  for (const std::string refused : {"timerfd_create", "timerfd_settime"}) {
    platform().fails = [&](const std::string& call) { return call == refused; };
    EXPECT_EQ(add(5), -1);
  }
  platform().fails = [](const std::string&) { return false; };
  const int epoll = std::exchange(epoll_fd, -1);
  EXPECT_EQ(add(5), -1);
  dispatch_timers(epoll_fd, 0);
  epoll_fd = epoll;
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(run(10), 0U);
  for (int i = 0; i < MAX_TIMERS; ++i) {
    EXPECT_GT(add(5), 0) << "a slot was lost";
  }
  EXPECT_EQ(add(5), -1);
  EXPECT_EQ(open_descriptors(), before + MAX_TIMERS);
  EXPECT_THAT(messages(), testing::MatchesRegex("no timer: it cannot be created: [^\n]+\n"
                                                "no timer: it cannot be armed: [^\n]+\n"
                                                "no timer: it cannot be registered: [^\n]+\n"
                                                "no timer: the timer list is full: [^\n]+\n"));
  EXPECT_EQ(run(5), 16U);
}

}  // namespace
