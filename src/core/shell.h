// The one place where the daemon runs a command.
//
// Commands go through the shell because the interface is a command line: whatever `wl`, `nvram`,
// `vexo_service` or `cat` stands first on PATH serves the daemon. Nothing that came from the air
// may reach a shell as anything but digits, letters and colons, so each command is checked here
// against the characters that the daemon's own commands are made of; everything a shell would act
// on is refused.
#ifndef VORLENT_CORE_SHELL_H
#define VORLENT_CORE_SHELL_H

// Runs `command` through the shell and waits until it has ended; standard output is flushed first,
// so that it keeps its order with what the command prints. A command that took over two seconds is
// logged: the loop stood still for it.
// Returns what system() returns, which no caller uses, or -1 for a command that was refused.
int run_command(const char* command);

#endif
