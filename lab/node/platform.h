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

#include "node/happening.h"

namespace lab {

struct Mesh;

struct Platform {
  int mode = kOff;
  std::uint64_t starts = 0;     // of the daemon
  bool restart_wanted = false;  // the daemon or the platform asked for it
  bool end_expected = false;    // the scenario killed it
  int useless_starts = 0;       // in a row, after which it ended before it was in a mode
  std::function<void()> when_off;
};

// Has what comes out of the unit's box served here.
void serve_box(Mesh& mesh, Node& node);
// What the platform does, for the record.
void say(Mesh& mesh, Node& node, const std::string& text);
void power_on(Mesh& mesh, Node& node);
// Everything ends at once; `then` runs when nothing is left of the unit but its folder.
void power_off(Mesh& mesh, Node& node, std::function<void()> then = {});
void kill_daemon(Node& node);
void set_nvram(Mesh& mesh, Node& node, std::string_view key, std::string_view value);
// The unit's NVRAM may have changed.
void nvram_changed(Mesh& mesh, Node& node);
void platform_notices(Mesh& mesh, Node& node, const ModeEntered& entered);

}  // namespace lab

#endif
