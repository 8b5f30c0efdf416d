// The other half of the story: what a maker's platform does around the daemon, and its owner.
//
// Every unit: leaves the factory with its NVRAM, serves `wl` and `vexo_service restart`, and loses
// all but the saved NVRAM at a power cut. A unit: has its backhaul brought up when its credentials
// are those of a base that is there, and only after the restart into mode 3, since a searching unit
// with a backhaul would take itself for one on a cable; then its installation is ended. What keeps
// the daemon running is in supervisor.h, what a base's owner does in base_owner.h.
#ifndef LAB_PLATFORM_H
#define LAB_PLATFORM_H

#include <functional>
#include <string>

#include "node/happening.h"

namespace lab {

struct Mesh;

struct Platform {
  int mode = kOff;
  std::function<void()> when_off;
};

// Has what comes out of the unit's box served here.
void serve_box(Mesh& mesh, Node& node);
// What the platform does, for the record.
void say(Mesh& mesh, Node& node, const std::string& text);
void power_on(Mesh& mesh, Node& node);
// Everything ends at once; `then` runs when nothing is left of the unit but its folder.
void power_off(Mesh& mesh, Node& node, std::function<void()> then = {});
// The daemon is in another mode now, or in none.
void change_mode(Mesh& mesh, Node& node, int mode);
void set_nvram(Mesh& mesh, Node& node, std::string_view key, std::string_view value);
// The unit's NVRAM may have changed.
void nvram_changed(Mesh& mesh, Node& node);
void platform_notices(Mesh& mesh, Node& node, const ModeEntered& entered);

}  // namespace lab

#endif
