#include "story/loss_rules.h"

#include <cstdio>

#include "story/director.h"

namespace lab {

namespace {

// Those for whom a rule of loss stands; one that names nobody stands for all.
std::vector<const Radio*> radios_of(const Mesh& mesh, const std::string& who) {
  std::vector<const Radio*> radios;
  for (const Node* node : who_is(mesh, who)) {
    radios.push_back(&node->radio);
  }
  return radios;
}

// A mark on the rows of those whom it befalls: of the bases where that is everybody.
void tell_loss(Mesh& mesh, const LossRule& rule) {
  char text[32];
  snprintf(text, sizeof text, "loss %g%%", rule.loss * 100);
  const std::string what = text + (rule.from.empty() ? "" : " from " + rule.from) +
                           (rule.to.empty() ? "" : " to " + rule.to);
  auto befallen = who_is(mesh, rule.from);
  for (Node* node : who_is(mesh, rule.to)) {
    befallen.push_back(node);
  }
  const bool everybody = rule.from.empty() && rule.to.empty();
  for (Node* node : everybody ? all_of(mesh, NodeKind::base) : befallen) {
    const auto tell = [&mesh, node](const std::string& said) {
      publish(mesh, *node, DirectorActed{said});
    };
    mesh.loop.at(rule.begin, [tell, what] { tell(what); });
    if (rule.end != Time::max()) {
      mesh.loop.at(rule.end, [tell, what] { tell(what + " no more"); });
    }
  }
}

}  // namespace

void apply_losses(Story& story) {
  Mesh& mesh = story.mesh;
  mesh.air.losses.clear();
  for (const LossRule& rule : story.losses) {
    const auto from = radios_of(mesh, rule.from);
    const auto to = radios_of(mesh, rule.to);
    if ((from.empty() && !rule.from.empty()) || (to.empty() && !rule.to.empty())) {
      continue;  // whom it names is not there yet, and none would be everybody
    }
    mesh.air.losses.push_back(
        {.loss = rule.loss, .from = from, .to = to, .begin = rule.begin, .end = rule.end});
  }
}

void add_losses(Story& story, const Scenario& scenario) {
  for (const LossRule& rule : scenario.losses) {
    tell_loss(story.mesh, rule);
    story.losses.push_back(rule);
  }
  apply_losses(story);
}

}  // namespace lab
