// The timer list with 1 and 16 timers: a turn in which nothing is due, and timers made and deleted.
#include "core/timer_list.h"

#include "core/context.h"
#include "support/bench.h"

namespace {

std::vector<int> add_far_timers(const benchmark::State& state) {
  std::vector<int> timers(static_cast<std::size_t>(state.range(0)));
  for (int& timer : timers) {
    TimerEntry entry{};
    entry.timeout = 900;
    timer = add_timer(epoll_fd, entry);
  }
  return timers;
}

void dispatch_nothing_due(benchmark::State& state) {
  add_far_timers(state);
  measure(state, [] { dispatch_timers(epoll_fd); });
  reset_timer_list();
}
BENCHMARK(dispatch_nothing_due)->Arg(1)->Arg(16);

void add_and_delete_timers(benchmark::State& state) {
  measure(state, [&] {
    for (const int timer : add_far_timers(state)) {
      del_timer(epoll_fd, timer);
    }
  });
}
BENCHMARK(add_and_delete_timers)->Arg(1)->Arg(16);

}  // namespace
