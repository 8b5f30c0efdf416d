// Keeps the program running that makes the unit's networks, with the settings of NVRAM.
#ifndef PLATFORM_LINUX_NETWORK_SUPERVISOR_H
#define PLATFORM_LINUX_NETWORK_SUPERVISOR_H

#include "backhaul.h"
#include "network_config.h"
#include "program.h"

namespace network {

struct Networks {
  Settings running;
  Settings seen;
  bool wanted = false;  // a program ought to run
  Clock::time_point begun;
  Program program;
  Supplicant supplicant;
  Backhaul backhaul;
};

// Starts the program anew where settings have changed and have settled, or where it has ended by
// itself, 5 seconds after its start at the earliest; tells NVRAM how the backhaul stands.
void turn(Networks& networks);

}  // namespace network

#endif
