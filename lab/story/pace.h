// How fast time runs: as the scenario says, and faster while every unit that is not yet in only
// waits for the owner, where it allows that.
#ifndef LAB_PACE_H
#define LAB_PACE_H

namespace lab {

struct Story;

// Called when a unit may have begun or ended to wait.
void choose_pace(Story& story);

}  // namespace lab

#endif
