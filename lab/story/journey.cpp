#include "lab.h"

namespace lab {

namespace {

void on_frame(Journey& journey, const Occurrence& seen) {
  ++journey.frames;
  journey.resent += seen.before;
  journey.sent = seen.number;
  if (seen.number == 1000 && journey.first_handshake == Journey::First::none) {
    journey.first_handshake = Journey::First::running;
  }
}

void on_heard(Journey& journey, const Occurrence& seen) {
  journey.heard = seen.number;
  if (seen.number == 1004 && journey.first_handshake == Journey::First::running) {
    journey.first_handshake = Journey::First::completed;
  }
}

void on_mode(Journey& journey, const Occurrence& seen) {
  const bool gave_up = seen.before == 1 && seen.number == 0;
  journey.gave_up += gave_up ? 1 : 0;
  if (journey.first_handshake == Journey::First::running && seen.number != 3) {
    journey.first_handshake = gave_up ? Journey::First::failed : Journey::First::spoiled;
  }
  if (seen.number == 6 && journey.installed < Time{}) {
    journey.installed = seen.time;
  }
  if (seen.number != 1) {
    journey.sent = 0;
    journey.heard = 0;
  }
}

}  // namespace

void follow_journey(Lab& lab, const Occurrence& seen) {
  Journey& journey = seen.node->journey;
  if (seen.what == What::frame && seen.number != 0) {
    on_frame(journey, seen);
  } else if (seen.what == What::heard) {
    on_heard(journey, seen);
  } else if (seen.what == What::mode && !(seen.before == kOff && seen.number == 1)) {
    on_mode(journey, seen);
  } else if (seen.what == What::power && seen.number == 1 && journey.powered < Time{}) {
    journey.powered = seen.time;
  } else if (seen.what == What::nvram && journey.credentials < Time{}) {
    for (const Node* base : all_of(lab, NodeKind::base)) {
      if (seen.node->kind == NodeKind::unit && has_credentials_of(*seen.node, *base)) {
        journey.credentials = seen.time;
      }
    }
  }
}

}  // namespace lab
