#include "story/director.h"

#include <string.h>

#include <algorithm>
#include <cerrno>

#include "node/boxes.h"
#include "story/actions.h"
#include "story/conditions.h"
#include "story/loss_rules.h"
#include "story/pace.h"

namespace lab {

namespace {

bool is_one_of(const Mesh& mesh, const std::string& who, const Node* node) {
  const auto all = who_is(mesh, who);
  return std::find(all.begin(), all.end(), node) != all.end();
}

void take_step(Story& story, std::size_t index, Node* it) {
  story.done[index] = true;
  carry_out(story, story.scenario.steps[index], it);
}

bool switches_on(const Scenario& scenario, const Node& node) {
  return std::any_of(scenario.steps.begin(), scenario.steps.end(), [&](const Step& step) {
    const bool named = step.who == node.name ||
                       (step.who == "units" && node.kind == NodeKind::unit) ||
                       (step.who == "bases" && node.kind == NodeKind::base);
    return named && step.action->name == "power-on" && step.trigger.condition == nullptr;
  });
}

// Whether the unit is not there before a step has it arrive.
bool comes_later(const Scenario& scenario, const std::string& name) {
  return std::any_of(scenario.steps.begin(), scenario.steps.end(), [&](const Step& step) {
    return step.action->whose == Whose::newcomer && step.who == name;
  });
}

}  // namespace

void bring(Story& story, int number) {
  Mesh& mesh = story.mesh;
  add_unit(mesh, number);
  Node& unit = *mesh.nodes.back();
  apply_losses(story);
  if (prepare_box(mesh, unit)) {
    publish(mesh, unit, Arrived{});
  } else {
    fail(mesh, unit.sandbox.folder + ": " + strerror(errno));
  }
}

void carry_out(Story& story, const Step& step, Node* it) {
  const Action& action = *step.action;
  Mesh& mesh = story.mesh;
  if (action.whose == Whose::newcomer && find_node(mesh, step.who) == nullptr) {
    bring(story, unit_number(step.who));
  }
  for (Node* node : who_is(mesh, step.who, it)) {
    if (action.name.rfind("power", 0) != 0 && action.whose != Whose::newcomer) {  // told by itself
      publish(mesh, *node,
              DirectorActed{std::string(action.name) +
                            (step.argument.empty() ? "" : " " + step.argument)});
    }
    action.act(mesh, *node, step.argument);
  }
}

void make_mesh(Story& story) {
  Mesh& mesh = story.mesh;
  const Scenario& scenario = story.scenario;
  mesh.air.settings = scenario.air;
  mesh.push_after = scenario.push_after;
  mesh.kit.time_lapse = scenario.time_lapse > 1 || scenario.skip_waits > 1;
  for (int i = 1; i <= scenario.bases; ++i) {
    const auto wanted = scenario.channels.find(i == 1 ? "base" : "base-" + std::to_string(i));
    add_base(
        mesh, i,
        wanted != scenario.channels.end() ? std::optional(wanted->second.number) : std::nullopt);
  }
  for (int i = 1; i <= scenario.units; ++i) {
    if (!comes_later(scenario, "unit-" + std::to_string(i))) {
      add_unit(mesh, i);
    }
  }
  if (scenario.stranger) {
    add_stranger(mesh);
  }
  add_losses(story, scenario);
}

std::vector<Node*> who_is(const Mesh& mesh, const std::string& who, Node* it) {
  if (who == "it") {
    return {it};
  }
  if (who == "units") {
    return all_of(mesh, NodeKind::unit);
  }
  if (who == "bases") {
    return all_of(mesh, NodeKind::base);
  }
  Node* node = find_node(mesh, who);
  return node != nullptr ? std::vector<Node*>{node} : std::vector<Node*>{};
}

void start_director(Story& story) {
  story.counts.resize(story.scenario.steps.size());
  story.done.resize(story.scenario.steps.size(), false);
  for (const auto& node : story.mesh.nodes) {
    if (!switches_on(story.scenario, *node)) {
      const Time when = node->kind == NodeKind::base ? 0s : 1500ms;
      story.mesh.loop.at(when, [&story, node = node.get()] { power_on(story.mesh, *node); });
    }
  }
  story.mesh.loop.clock.set_rate(story.scenario.time_lapse);
  for (std::size_t i = 0; i < story.scenario.steps.size(); ++i) {
    const Trigger& trigger = story.scenario.steps[i].trigger;
    if (trigger.condition == nullptr) {
      story.mesh.loop.at(trigger.after, [&story, i] { take_step(story, i, nullptr); });
    }
  }
}

void director_notices(Story& story, const Happening& seen) {
  const auto* told = seen.as<DriverTold>();
  if (seen.as<ModeEntered>() != nullptr || (told != nullptr && told->operation != 0)) {
    choose_pace(story);
  }
  for (std::size_t i = 0; i < story.scenario.steps.size(); ++i) {
    const Trigger& trigger = story.scenario.steps[i].trigger;
    // With `units` each unit has a condition of its own, otherwise the step happens once.
    if (trigger.condition == nullptr || !trigger.condition->met(trigger, seen) ||
        !is_one_of(story.mesh, trigger.who, &seen.node) ||
        ++story.counts[i][&seen.node] != trigger.times) {
      continue;
    }
    if (trigger.after > 0s) {
      story.mesh.loop.after(trigger.after,
                            [&story, i, it = &seen.node] { take_step(story, i, it); });
    } else {
      take_step(story, i, &seen.node);
    }
  }
}
}  // namespace lab
