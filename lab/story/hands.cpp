#include "story/hands.h"

#include <algorithm>
#include <cstdio>

#include "story/actions.h"
#include "story/loss_rules.h"

namespace lab {

namespace {

int units_of(const Mesh& mesh) {
  int highest = 0;
  for (const Node* unit : all_of(mesh, NodeKind::unit)) {
    highest = std::max(highest, unit_number(unit->name));
  }
  return highest;
}

// Read as a scenario of the same mesh, so that there is one grammar and one set of messages. Only
// the next unit can arrive.
Scenario read_as_scenario(const Story& story, const std::string& line, std::string& wrong) {
  const Scenario& scenario = story.scenario;
  const int units = units_of(story.mesh) + (line.find(" arrive") != std::string::npos ? 1 : 0);
  const std::string text = "units " + std::to_string(std::min(units, kMaxUnits)) + "\nbases " +
                           std::to_string(scenario.bases) +
                           (scenario.stranger ? "\nstranger\n" : "\n") + line +
                           "\nexpect base mode 5\n";
  Errors errors;
  Scenario read = parse_scenario(text, "order", errors);
  if (!errors.empty()) {
    const std::string& first = errors.begin()->second;
    wrong = first.substr(first.find(": ") + 2);
  }
  return read;
}

// The line with the time from which it stands.
std::string dated(const std::string& line, Time now) {
  char time[32];
  snprintf(time, sizeof time, "at %.3fs", seconds(now));
  if (line.rfind("loss ", 0) != 0) {
    return std::string(time) + ": " + line;
  }
  const std::size_t until = std::min(line.find(" until "), line.size());
  return line.substr(0, until) + " " + time + line.substr(until);
}

}  // namespace

std::string do_by_hand(Story& story, const std::string& line, std::string& written) {
  if (line.find_first_of("\r\n#") != std::string::npos) {
    return "expected one line";
  }
  const std::string order = dated(line, story.mesh.loop.clock.now());
  std::string wrong;
  const Scenario read = read_as_scenario(story, order, wrong);
  if (!wrong.empty()) {
    return wrong;
  }
  for (const Step& step : read.steps) {
    const bool arrives = step.action->whose == Whose::newcomer;
    if (arrives != who_is(story.mesh, step.who).empty()) {
      return step.who + (arrives ? " is there already" : " is not there yet");
    }
  }
  written += order + "\n";
  add_losses(story, read);
  for (const Step& step : read.steps) {
    carry_out(story, step, nullptr);
  }
  return {};
}

std::string as_played(const Story& story, const std::string& text) {
  const Scenario& scenario = story.scenario;
  const AirSettings& air = scenario.air;
  char settings[256];
  snprintf(settings, sizeof settings,
           "units %d\ntime-lapse %d\nloss %g%%\nduplicate %g%%\ndelay %gs\njitter %gs\nseed %llu\n",
           std::max(scenario.units, units_of(story.mesh)), scenario.time_lapse, air.loss * 100,
           air.duplicate * 100, seconds(air.delay), seconds(air.jitter),
           static_cast<unsigned long long>(air.seed));
  return text + "\n# As it was run, and by hand:\n" + settings;
}

}  // namespace lab
