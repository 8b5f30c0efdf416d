// The director: makes happen what the scenario says, when it says so.
#ifndef LAB_DIRECTOR_H
#define LAB_DIRECTOR_H

#include <map>
#include <string>
#include <vector>

#include "story/journey.h"
#include "story/scenario.h"

namespace lab {

// A run as its scenario sees it.
struct Story {
  Mesh& mesh;
  const Scenario& scenario;
  Journeys journeys{};
  // By step: how often its condition was met by each node, and whether it was carried out.
  std::vector<std::map<const Node*, int>> counts{};
  std::vector<bool> done{};
  // By expectation and node: whether what had a time was met in it, once that is decided.
  std::map<std::pair<std::size_t, const Node*>, bool> in_time{};
  // The scenario's, and those that came by hand.
  std::vector<LossRule> losses{};
};

// Has those whom the step names do what it says; `it`: whom its condition was about.
void carry_out(Story& story, const Step& step, Node* it);
// A unit more, fresh from the factory and not yet switched on.
void bring(Story& story, int number);

// Makes the scenario's mesh, switches everything on that no step switches on, and waits for the
// rest.
void make_mesh(Story& story);
void start_director(Story& story);
void director_notices(Story& story, const Happening& seen);
// Those whom a scenario calls so; `it`: whom a condition was about.
std::vector<Node*> who_is(const Mesh& mesh, const std::string& who, Node* it = nullptr);

}  // namespace lab

#endif
