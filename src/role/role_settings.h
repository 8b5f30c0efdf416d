// The configuration that each role needs in NVRAM: three fixed sequences of writes.
//
// Nothing here is checked or logged, and only the base configuration saves: the other two are
// followed by the end of the process, which saves NVRAM. All return 0.
#ifndef VORLENT_ROLE_ROLE_SETTINGS_H
#define VORLENT_ROLE_ROLE_SETTINGS_H

// Writes the configuration of a wireless satellite, with the backhaul credentials in `target` where
// there are any.
int apply_satellite_config();

// Writes the configuration of a base and saves it; when NVRAM `vorlent_force_apply` is "1",
// consumes it, saves again and restarts the platform's NVRAM services.
int apply_base_config();

// Writes the un-configured defaults.
int reset_to_uncfg_defaults();

// The three keys that make a satellite of a unit, whatever its backhaul.
void set_satellite_role();

#endif
