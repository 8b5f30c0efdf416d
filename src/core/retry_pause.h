// What the system has refused is asked for again once a second at the most: a flood of events makes
// thousands of turns of the main loop.
#ifndef VORLENT_CORE_RETRY_PAUSE_H
#define VORLENT_CORE_RETRY_PAUSE_H

#include <ctime>

struct RetryPause {
  std::time_t until = 0;  // on the monotonic clock, in seconds
};

// Begins a pause, after a refusal.
inline void begin(RetryPause& pause) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  pause.until = now.tv_sec + 1;
}

inline bool is_over(const RetryPause& pause) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec >= pause.until;
}

#endif
