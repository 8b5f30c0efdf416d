#include "story/pace.h"

#include "story/director.h"

namespace lab {

namespace {

// Whether some unit waits for the credentials and all others are in.
bool everybody_waits(Story& story) {
  bool some = false;
  for (const Node* unit : all_of(story.mesh, NodeKind::unit)) {
    const bool waits = unit->platform.mode == 1 && story.journeys[unit].heard == 1004;
    some = some || waits;
    if (!waits && unit->platform.mode != 6) {
      return false;
    }
  }
  return some;
}

}  // namespace

void choose_pace(Story& story) {
  Clock& clock = story.mesh.loop.clock;
  const int rate = everybody_waits(story) ? story.scenario.skip_waits : story.scenario.time_lapse;
  if (story.scenario.skip_waits > 1 && rate != clock.rate()) {
    clock.set_rate(rate);
  }
}

}  // namespace lab
