// What an un-configured unit knows about the base it is joining.
#ifndef VORLENT_DISCOVERY_TARGET_BASE_H
#define VORLENT_DISCOVERY_TARGET_BASE_H

#include <cstdint>

#include "core/context.h"

// Forgets the last base and its handshake, and records a new one.
void set_target_base(const MacText& bssid, std::uint8_t channel);

// Logs `target`, pass phrase included.
void dump_target_bss_info();

#endif
