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

// Blocks SIGUSR1 and SIGUSR2 and nothing else, whatever was inherited: one that comes while the
// daemon starts waits for its handler instead of ending the process.
void hold_signals_back();

// Installs sig_handler for SIGUSR1 and SIGUSR2, and blocks no signal from here on.
void install_signal_handlers();

// Keeps the daemon alive when a reader of its standard output goes away, or a file grows past the
// limit that it was started with: the write fails instead. Caught, not ignored: the commands that
// the daemon runs would inherit the latter.
void survive_failing_writes();

// True once for any number of arrivals of `signo` since the last call.
bool take_pending_signal(int signo);

#endif
