// The other half of the story: what a maker's platform does around the daemon, and its owner.
//
// Every unit: leaves the factory with its NVRAM, starts the daemon, serves `vexo_service restart`
// by starting it again once it has ended, and loses all but the saved NVRAM at a power cut.
// A unit: has its backhaul brought up when its credentials are those of a base that is there, and
// only after the restart into mode 3, since a searching unit with a backhaul would take itself for
// one on a cable; then its installation is ended.
// What a base's owner does is in owner.h.
#ifndef LAB_PLATFORM_H
#define LAB_PLATFORM_H

#include <functional>
#include <string>
#include <vector>

#include "base/loop.h"
#include "standin/nvram_file.h"

namespace lab {

struct Lab;
struct Node;
struct Occurrence;

using Settings = standin::Values;

inline constexpr int kOff = -1;  // the mode of a unit whose daemon does not run

struct Platform {
  Settings factory;
  Settings nvram;         // as last read
  std::string own_stamp;  // of the NVRAM file that the platform itself wrote last
  int mode = kOff;
  std::uint64_t starts = 0;     // of the daemon
  bool restart_wanted = false;  // the daemon or the platform asked for it
  bool end_expected = false;    // the scenario killed it
  int useless_starts = 0;       // in a row, after which it ended before it was in a mode
  bool first_boot = true;
  std::function<void()> when_off;
};

// Whether a store is whole: its last line ended, and the mark there that the factory set.
bool is_whole(std::string_view text);
// What the platform does, for the record.
void say(Lab& lab, Node& node, const std::string& text);
void power_on(Lab& lab, Node& node);
// Everything ends at once; `then` runs when nothing is left of the unit but its folder.
void power_off(Lab& lab, Node& node, std::function<void()> then = {});
void set_nvram(Lab& lab, Node& node, std::string_view key, std::string_view value);
void request_restart(Lab& lab, Node& node);

// What sandbox and files report.
void agent_ready(Lab& lab, Node& node);
void daemon_ended(Lab& lab, Node& node, const std::string& how);
void nvram_changed(Lab& lab, Node& node);
void platform_notices(Lab& lab, const Occurrence& seen);

// Whether the unit holds this base's backhaul credentials.
bool has_credentials_of(const Node& unit, const Node& base);

}  // namespace lab

#endif
