// The event handlers of the modes: which driver events a mode takes, by their type and their radio,
// and who serves them.
//
// They stand above discovery and handshake because a base knows both: probe requests from the one,
// action frames from the other. What a handler does not name is dropped. All return 0.
#ifndef VORLENT_EVENT_FILTER_H
#define VORLENT_EVENT_FILTER_H

#include "core/driver_event.h"

// A base: probe requests on every interface whose name begins with wl0, and action frames.
int router_register(const char* interface, const DriverEventMsg& event);

// An un-configured unit: scan results on wl0.
int uncfg_register(const char* interface, const DriverEventMsg& event);

// A unit in the handshake: action frames.
int uncfg_act_handshake_register(const char* interface, const DriverEventMsg& event);

#endif
