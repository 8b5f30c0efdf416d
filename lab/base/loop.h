// The laboratory's heartbeat: one thread, one epoll instance, one heap of things to do later, and
// the clock that they are timed by.
//
// The clock is the laboratory's own. It follows the machine's at `rate`, which may change while a
// run goes on (units that only wait need not be waited for), and every unit whose daemon runs with
// the time-lapse library follows the same page. Everything that is timed here (the air's delays,
// scans, the scenario) is in laboratory time, so that a faster run is the same run.
#ifndef LAB_LOOP_H
#define LAB_LOOP_H

#include <chrono>
#include <functional>
#include <map>
#include <queue>
#include <string>

#include "base/shared_clock.h"

namespace lab {

using Time = std::chrono::nanoseconds;  // since the run began, or a span
using namespace std::chrono_literals;

inline double seconds(Time time) {
  return std::chrono::duration<double>(time).count();
}
inline Time from_seconds(double value) {
  return std::chrono::duration_cast<Time>(std::chrono::duration<double>(value));
}

class Clock {
 public:
  Clock() = default;
  ~Clock();
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  // Begins at 0, on a page of the file `path`; false (errno set) where it cannot be made.
  bool start(const std::string& path);
  Time now() const;
  void set_rate(int rate);
  int rate() const { return page_->rate; }

 private:
  shared_clock* page_ = nullptr;
  std::int64_t began_ = 0;
};

class Loop {
 public:
  Loop();
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  // Runs `ready` whenever the descriptor can be read or has been hung up.
  void watch(int fd, std::function<void()> ready);
  void unwatch(int fd);
  // Runs `action` once, in order of time and, for equal times, of asking.
  void at(Time when, std::function<void()> action);
  void after(Time span, std::function<void()> action) { at(clock.now() + span, std::move(action)); }
  // Spans of the machine's own time, for what real programs do: dying, for one.
  void after_real(Time span, std::function<void()> action) {
    after(span * clock.rate(), std::move(action));
  }
  // Returns when `stop` has been called.
  void run();
  void stop() { stopped_ = true; }

  Clock clock;

 private:
  struct Due {
    Time when;
    std::uint64_t order;
    std::function<void()> action;
    bool operator<(const Due& other) const {
      return when != other.when ? when > other.when : order > other.order;
    }
  };
  void run_due();
  int wait_ms() const;

  int epoll_ = -1;
  bool stopped_ = false;
  std::uint64_t asked_ = 0;
  std::priority_queue<Due> due_;
  std::map<int, std::function<void()>> watched_;
};

}  // namespace lab

#endif
