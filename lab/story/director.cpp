#include "story/director.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "node/boxes.h"
#include "story/actions.h"
#include "story/conditions.h"

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

bool switches_on(const Scenario& scenario, const Node& node) {
  return std::any_of(scenario.steps.begin(), scenario.steps.end(), [&](const Step& step) {
    const bool named = step.who == node.name ||
                       (step.who == "units" && node.kind == NodeKind::unit) ||
                       (step.who == "bases" && node.kind == NodeKind::base);
    return named && step.action->name == "power-on" && step.trigger.condition == nullptr;
  });
}

// Those for whom a rule of loss stands; one that names nobody stands for all.
std::vector<const Radio*> radios_of(const Mesh& mesh, const std::string& who) {
  std::vector<const Radio*> radios;
  for (const Node* node : who_is(mesh, who)) {
    radios.push_back(&node->radio);
  }
  return radios;
}

// Anew, for whoever is there now.
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

// Whether the unit is not there before a step has it arrive.
bool comes_later(const Scenario& scenario, const std::string& name) {
  return std::any_of(scenario.steps.begin(), scenario.steps.end(), [&](const Step& step) {
    return step.action->whose == Whose::newcomer && step.who == name;
  });
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

void add_losses(Story& story, const Scenario& scenario) {
  for (const LossRule& rule : scenario.losses) {
    tell_loss(story.mesh, rule);
    story.losses.push_back(rule);
  }
  apply_losses(story);
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

void choose_pace(Story& story) {
  Clock& clock = story.mesh.loop.clock;
  const int rate = everybody_waits(story) ? story.scenario.skip_waits : story.scenario.time_lapse;
  if (story.scenario.skip_waits > 1 && rate != clock.rate()) {
    clock.set_rate(rate);
  }
}

}  // namespace lab
