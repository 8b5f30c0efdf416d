// What an un-configured unit does about the base that it has found.
#ifndef VORLENT_DISCOVERY_JOIN_BASE_H
#define VORLENT_DISCOVERY_JOIN_BASE_H

#include <cstdint>

#include "core/context.h"

// What speaks of scan results, and of the base found in one, in the log.
inline constexpr const char* AS_UNCFG_REGISTER = "uncfg_register";

// Records the base, goes to its channel and changes to the handshake.
void join_base(const MacText& bssid, std::uint16_t chanspec);

#endif
