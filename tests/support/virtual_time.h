// The third seam of the daemon's tests: time, which stands still until a test moves it.
#ifndef VORLENT_TESTS_VIRTUAL_TIME_H
#define VORLENT_TESTS_VIRTUAL_TIME_H

// Forgets all timers and starts at a whole second.
void restart_clock();

// Moves virtual time by that many seconds. A timer that comes due is readable afterwards, once, as
// a timerfd is.
void move_clock(long seconds);

// Which timer of the process the descriptor is, counted from 1, or 0.
int timer_number(int fd);

#endif
