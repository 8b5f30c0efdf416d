// Which mode the unit starts in, as NVRAM has it.
#ifndef VORLENT_ROLE_MODE_DETECTION_H
#define VORLENT_ROLE_MODE_DETECTION_H

// Sets `cur_mode` and `target_role` from NVRAM. Where NVRAM names no mode both keep their value.
int load_cur_mode();

// Log that a unit not yet installed starts in its old mode again; rows of the mode table.
void say_temp_router_resumed();
void say_temp_satellite_resumed();

#endif
