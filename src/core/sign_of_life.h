// What tells a service manager that the daemon is alive.
#ifndef VORLENT_CORE_SIGN_OF_LIFE_H
#define VORLENT_CORE_SIGN_OF_LIFE_H

// Tells the socket that NOTIFY_SOCKET names that the main loop still turns, once a second at the
// most; silent without one, and never waits. A command that hangs stops the loop, and the manager
// can then end all of it.
void notify_alive();

#endif
