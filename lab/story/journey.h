// What is known of each unit's way in, read off the air and its NVRAM, and how that is told.
#ifndef LAB_JOURNEY_H
#define LAB_JOURNEY_H

#include <array>
#include <map>
#include <string>

#include "node/mesh.h"

namespace lab {

struct Journey {
  enum class First { none, running, completed, failed, spoiled };
  First first_handshake = First::none;  // spoiled: the scenario cut it short
  int sent = 0;                         // last operation that it sent in this handshake
  int heard = 0;                        // last one that its daemon was told of
  int answered = 0;                     // last one that was sent to it
  std::string unserved{};               // why what it sent since it heard something was not served
  int gave_up = 0;
  std::map<std::string, int> give_ups{};  // by reason
  // By operation, from 1000 on.
  std::array<int, 5> sent_counts{};
  std::array<int, 5> heard_counts{};
  int frames = 0;
  int resent = 0;
  int crashes = 0;
  int torn = 0;  // NVRAM files that were not whole
  Time powered{-1};
  Time credentials{-1};
  Time installed{-1};
};

using Journeys = std::map<const Node*, Journey>;

// That of a node to which nothing has happened is empty.
Journey journey_of(const Journeys& journeys, const Node& node);

void follow_journey(Journeys& journeys, const Mesh& mesh, const Happening& seen);
// What a unit waits for, in words.
std::string waits_for(const Node& node, const Journey& journey);
std::string outcome_of(const Mesh& mesh, const Node& node, const Journey& journey);

}  // namespace lab

#endif
