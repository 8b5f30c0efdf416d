// What a service manager may want to know of the daemon. Each is silent unless the environment asks
// for it, and never keeps the daemon waiting.
#ifndef VORLENT_CORE_SERVICE_MANAGER_H
#define VORLENT_CORE_SERVICE_MANAGER_H

// Writes the number of this process into the file that VORLENT_PID_FILE names.
void write_pid_file();

// Tells the socket that NOTIFY_SOCKET names that the main loop still turns, once a second at the
// most. A command that hangs stops the loop, and the manager can then end all of it.
void notify_alive();

#endif
