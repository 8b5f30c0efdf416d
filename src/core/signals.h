// The asynchronous entries of the daemon, made synchronous.
//
// The work behind SIGUSR1 and SIGUSR2 runs shell commands, logs and walks the candidate table, none
// of which may happen inside a signal handler. So the handler only counts, and the main loop takes
// what is pending after its wait, which every signal interrupts, and again after the timers: a
// second late at the most.
#ifndef VORLENT_CORE_SIGNALS_H
#define VORLENT_CORE_SIGNALS_H

// Counts one arrival of `signo`. Async-signal-safe.
void sig_handler(int signo);

// Installs sig_handler for SIGUSR1 and SIGUSR2.
void install_signal_handlers();

// Keeps a reader of our standard output that goes away from taking the daemon with it. Caught, not
// ignored: the commands that the daemon runs would inherit the latter.
void survive_broken_pipes();

// True once for any number of arrivals of `signo` since the last call.
bool take_pending_signal(int signo);

#endif
