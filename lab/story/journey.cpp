#include "story/journey.h"

namespace lab {

namespace {

void follow(Journey& journey, const FrameSent& sent) {
  const int operation = sent.frame.operation;
  if (operation == 0) {
    return;
  }
  ++journey.frames;
  ++journey.sent_counts[static_cast<std::size_t>(operation - 1000)];
  journey.resent += sent.frame.resent ? 1 : 0;
  journey.sent = operation;
  if (operation == 1000 && journey.first_handshake == Journey::First::none) {
    journey.first_handshake = Journey::First::running;
  }
}

void follow(Journey& journey, const DriverTold& told) {
  if (told.operation == 0) {
    return;
  }
  journey.unserved.clear();
  ++journey.heard_counts[static_cast<std::size_t>(told.operation - 1000)];
  journey.heard = told.operation;
  if (told.operation == 1004 && journey.first_handshake == Journey::First::running) {
    journey.first_handshake = Journey::First::completed;
  }
}

int awaited_by(const Journey& journey) {
  return journey.heard == 1004 ? 1003 : journey.sent == 1002 ? 1004 : 1001;
}

std::string why_it_gave_up(const Journey& journey) {
  const int awaited = awaited_by(journey);
  if (journey.answered == awaited) {
    return std::to_string(awaited) + " lost";
  }
  if (awaited == 1003) {
    return "1003 not sent";
  }
  const std::string asked = std::to_string(awaited == 1001 ? 1000 : 1002);
  return asked + (journey.unserved.empty() ? " lost" : " not served: " + journey.unserved);
}

void follow(Journey& journey, const ModeEntered& entered, Time time) {
  if (entered.before == kOff && entered.mode == 1) {
    return;
  }
  const bool gave_up = gives_up(entered);
  if (gave_up) {
    ++journey.gave_up;
    ++journey.give_ups[why_it_gave_up(journey)];
  }
  if (journey.first_handshake == Journey::First::running && entered.mode != 3) {
    journey.first_handshake = gave_up ? Journey::First::failed : Journey::First::spoiled;
  }
  if (entered.mode == 6 && journey.installed < Time{}) {
    journey.installed = time;
  }
  if (entered.mode != 1) {
    journey.sent = 0;
    journey.heard = 0;
    journey.answered = 0;
    journey.unserved.clear();
  }
}

const Node* base_of(const Mesh& mesh, const Node& node) {
  for (const Node* base : all_of(mesh, NodeKind::base)) {
    if (node.kind == NodeKind::unit && has_credentials_of(node, *base)) {
      return base;
    }
  }
  return nullptr;
}

}  // namespace

Journey journey_of(const Journeys& journeys, const Node& node) {
  const auto found = journeys.find(&node);
  return found != journeys.end() ? found->second : Journey{};
}

void follow_journey(Journeys& journeys, const Mesh& mesh, const Happening& seen) {
  Journey& journey = journeys[&seen.node];
  if (const auto* sent = seen.as<FrameSent>()) {
    follow(journey, *sent);
    if (sent->to != nullptr && seen.node.kind != NodeKind::stranger && sent->frame.operation != 0) {
      journeys[sent->to].answered = sent->frame.operation;
    }
  } else if (const auto* unserved = seen.as<Unserved>()) {
    journeys[unserved->from].unserved = unserved->why;
  } else if (const auto* told = seen.as<DriverTold>()) {
    follow(journey, *told);
  } else if (const auto* entered = seen.as<ModeEntered>()) {
    follow(journey, *entered, seen.time);
  } else if (const auto* power = seen.as<PowerSwitched>()) {
    journey.powered = power->on && journey.powered < Time{} ? seen.time : journey.powered;
  } else if (const auto* end = seen.as<DaemonEnded>()) {
    journey.crashes += end->crashed ? 1 : 0;
  } else if (seen.as<NvramTorn>() != nullptr) {
    ++journey.torn;
  } else if (seen.as<NvramSet>() != nullptr && journey.credentials < Time{} &&
             base_of(mesh, seen.node) != nullptr) {
    journey.credentials = seen.time;
  }
}

std::string waits_for(const Node& node, const Journey& journey) {
  switch (node.platform.mode) {
    case 0:
      return "a base's element in its scans";
    case 1:
      switch (awaited_by(journey)) {
        case 1003:
          return "1003, the credentials";
        case 1004:
          return "1004, after its key";
        default:
          return "1001, the base's key";
      }
    case 3:
      return "its backhaul and the end of the installation";
    case 5:
      return "units";
    case 6:
      return "nothing more";
    default:
      return is_powered(node) ? "the daemon's start" : "power";
  }
}

std::string outcome_of(const Mesh& mesh, const Node& node, const Journey& journey) {
  const int mode = node.platform.mode;
  if (mode == 6) {
    const Node* base = base_of(mesh, node);
    return base != nullptr ? "installed in the mesh of " + base->name
                           : "installed, with nobody's credentials";
  }
  if (mode == kOff) {
    return is_powered(node) ? "daemon not running" : "switched off";
  }
  return node.kind == NodeKind::base
             ? "base"
             : "mode " + std::to_string(mode) + ", waits for " + waits_for(node, journey);
}

}  // namespace lab
