// What the daemon does not take over from whoever starts it.
//
// A start-up script, a shell or a service manager may hand down blocked or ignored signals, an
// umask, a limit on file sizes and open descriptors. Any of them would make the daemon deaf, its
// files open to others, or its numbers of descriptors too large for select.
#ifndef VORLENT_CORE_INHERITED_STATE_H
#define VORLENT_CORE_INHERITED_STATE_H

// Sets the umask to 022, SIGCHLD to its default (system needs it), and closes all descriptors from
// 3 on. Opens the standard descriptors that are closed on /dev/null, so that no socket or timer
// ever gets one of their numbers: 0 means "no timer".
void shed_inherited_state();

#endif
