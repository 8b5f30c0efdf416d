// What entering a mode does.
//
// Every entry, also a repeated one, runs its routine anew: the element on or off the air, a new key
// pair where the mode needs one, the first scan, and a new timer whose descriptor replaces the one
// in `mode_timer_fd` - whoever changes the mode deletes the old timer first. All return 0.
#ifndef VORLENT_MODE_ENTRY_H
#define VORLENT_MODE_ENTRY_H

// Entry of ONBOARD_MODE_UNCONFIGURED: advertise, scan at once, then every 5 seconds.
int unconfigured_mode_cfg();

// Entry of ONBOARD_MODE_UNCFG_ACT_HANDSHAKE: off the air with the element, a new key pair,
// operation 1000 at once and its timer, which is the handshake's own.
int unconfigured_act_handshake_mode_cfg();

// Entry of ONBOARD_MODE_TEMP_ROUTER and ONBOARD_MODE_BASE, the modes that take units in and so fill
// the candidate file: forgets an earlier one, then key pair and Internet watchdog.
int enter_base_mode();

// The second half of it.
int temp_router_mode_cfg();

// Entry of ONBOARD_MODE_TEMP_SATELLITE and ONBOARD_MODE_TEMP_ETH_SATELLITE: backhaul watchdog.
int temp_sat_mode_cfg();

// Make the timer of a mode again that the system refused at its entry; rows of the mode table.
void rearm_search();
void rearm_internet_watchdog();
void rearm_backhaul_watchdog();

#endif
