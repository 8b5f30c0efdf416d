// Timers: every delayed or repeated action of the daemon, on one epoll instance.
//
// A timer is a timerfd on the monotonic clock and a slot in a fixed array, searched linearly: there
// are never more than a handful. Callbacks run inside dispatch_timers, on the one thread, and may
// add, change and delete any timer, their own included. Owners keep descriptors, and the kernel
// hands a closed number out again at once, so each slot carries a generation: that is how the
// dispatcher tells the timer whose limit callback it has just run from a new one that got its
// number. For the same reason a descriptor is looked up before anything is done to it.
//
// Timers are armed on whole seconds: the first expiry comes between timeout - 1 and timeout seconds
// after arming. The traces on standard output are part of the interface to the field.
#ifndef VORLENT_CORE_TIMER_LIST_H
#define VORLENT_CORE_TIMER_LIST_H

// Given the expired timer's descriptor.
using TimerCallback = void (*)(int timer_fd);

struct TimerEntry {
  int timer_fd;                  // written by add_timer
  int timeout;                   // seconds from arming to the first expiry
  int retry_interval;            // seconds between later expiries; 0: expires once
  int retry_count;               // expiries counted against retry_limit; start at 0
  int retry_limit;               // callback runs before limit_callback; 0: no limit
  TimerCallback callback;        // each expiry that does not reach the limit
  TimerCallback limit_callback;  // once, at the expiry that does; the timer is then removed
};

inline constexpr int MAX_TIMERS = 16;

// Creates the epoll instance. Returns its descriptor, or -1 with a line on standard output, once
// until it succeeds.
int init_epoll();

// False for a second after the system has refused an epoll instance or a timer: whoever asks again
// for what was refused waits that long, since there may be thousands of turns in it.
bool may_ask_again();

// Creates, arms, stores and registers a timer and writes its descriptor into `entry`.
// Returns the descriptor, or -1, with nothing armed and a line in the log, when the list is full or
// the system refuses a step. Until a timer is granted, the same refusal is logged once.
int add_timer(int epoll, TimerEntry& entry);

// Re-arms a timer from `entry` and replaces its stored record by it. Returns 0.
int update_timer(int timer_fd, const TimerEntry& entry);

// Disarms, forgets, unregisters and closes a timer; a descriptor that is not in the list is left
// alone. Returns 0.
int del_timer(int epoll, int timer_fd);

// Copies the stored record out; `entry` stays as it is when the descriptor is not in the list.
void get_timer_from_timer_list(int timer_fd, TimerEntry& entry);

// Replaces the stored record.
void update_timer_in_timer_list(int timer_fd, const TimerEntry& entry);

// Clears the slot. The descriptor itself stays open.
void del_timer_from_timer_list(int timer_fd);

// Runs the callbacks of the timers that have expired. Never waits: the receiver's wait of a second
// is the only one of a turn, and another would delay each event.
void dispatch_timers(int epoll);

// Closes every timer and empties the list.
void reset_timer_list();

#endif
