#include "story/hands.h"

#include <cstdio>

namespace lab {

namespace {

// Read as a scenario of the same mesh, so that there is one grammar and one set of messages.
std::string read_as_scenario(const Scenario& mesh, const std::string& line, Scenario& read) {
  const std::string text = "units " + std::to_string(mesh.units) + "\nbases " +
                           std::to_string(mesh.bases) + (mesh.stranger ? "\nstranger\n" : "\n") +
                           line + "\nexpect base mode 5\n";
  std::string error;
  if (!parse_scenario(text, "order", read, error)) {
    const std::size_t end = error.find(": ");
    return end == std::string::npos ? error : error.substr(end + 2);
  }
  return {};
}

}  // namespace

std::string do_by_hand(Story& story, const std::string& line, std::string& written) {
  if (line.find_first_of("\r\n#") != std::string::npos) {
    return "expected one line";
  }
  char time[32];
  snprintf(time, sizeof time, "at %.3fs: ", seconds(story.mesh.loop.clock.now()));
  const bool of_the_air = line.rfind("loss ", 0) == 0;
  const std::string as_written = of_the_air ? line : time + line;
  Scenario read;
  const std::string wrong = read_as_scenario(story.scenario, as_written, read);
  if (!wrong.empty()) {
    return wrong;
  }
  if (of_the_air) {
    story.mesh.air.settings.loss = read.air.loss;
    written +=
        "# " + std::string(time) + line + ", by hand; a scenario has it from its beginning\n";
    return {};
  }
  written += as_written + "\n";
  for (const Step& step : read.steps) {
    carry_out(story.mesh, step, nullptr);
  }
  return {};
}

}  // namespace lab
