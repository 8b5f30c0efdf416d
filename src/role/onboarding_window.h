// The base's onboarding window: for 60 seconds after a request, the base carries its vendor element
// in beacons and probe responses, so that an un-configured unit can find it.
//
// The window says who can find the base, no more: a station that is already in the candidate table
// goes on with its handshake after the window has closed. A change of role does not close it
// either.
#ifndef VORLENT_ROLE_ONBOARDING_WINDOW_H
#define VORLENT_ROLE_ONBOARDING_WINDOW_H

// The check of each turn of mode 5, and the end of that of mode 2: opens the window on request, and
// makes its refused timer again. A request during an open window closes that one and opens a new
// one for its full minute.
void onboarding_window_check();

// Puts the element on the air, arms the window's timer, consumes the request in NVRAM and publishes
// the open window there. Returns the window's timer, or -1.
int router_start_onboarding();

// Takes the element off the air, deletes `timer` and publishes the closed window. The window
// timer's callback, and the way to start a window afresh.
void router_stop_onboarding(int timer);

#endif
