#include "results/report.h"

#include <filesystem>

#include "results/json.h"

namespace lab {

extern const char* const kReportTemplate;  // made by the build

namespace {

int index_of(const Mesh& mesh, const Node* node) {
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i) {
    if (mesh.nodes[i].get() == node) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

void add_frames(const Recorder& recorder, const Mesh& mesh, cJSON* list) {
  for (const ChartFrame& frame : recorder.chart) {
    cJSON* item = add_object(list);
    add_time(item, "t", frame.time);
    cJSON_AddNumberToObject(item, "from", index_of(mesh, frame.from));
    cJSON_AddNumberToObject(item, "to", index_of(mesh, frame.to));
    cJSON_AddNumberToObject(item, "op", frame.operation);
    cJSON_AddBoolToObject(item, "resent", frame.resent ? 1 : 0);
    cJSON_AddBoolToObject(item, "lost", frame.lost ? 1 : 0);
    cJSON_AddStringToObject(item, "note", frame.note.c_str());
  }
}

void add_rest(const Recorder& recorder, const Mesh& mesh, cJSON* data) {
  cJSON* modes = cJSON_AddArrayToObject(data, "modes");
  for (const ModeChange& change : recorder.modes) {
    cJSON* item = add_object(modes);
    add_time(item, "t", change.time);
    cJSON_AddNumberToObject(item, "node", index_of(mesh, change.node));
    cJSON_AddNumberToObject(item, "mode", change.mode);
  }
  cJSON* kinds = cJSON_AddArrayToObject(data, "kinds");
  for (const auto& [kind, counts] : recorder.kinds) {
    cJSON* item = add_object(kinds);
    cJSON_AddStringToObject(item, "kind", kind.c_str());
    cJSON_AddNumberToObject(item, "sent", counts.first);
    cJSON_AddNumberToObject(item, "lost", counts.second);
  }
}

std::string data_of(const Recorder& recorder, const Story& story, bool as_expected) {
  const Json data(cJSON_CreateObject());
  const AirSettings& air = story.scenario.air;
  const std::string name = std::filesystem::path(story.scenario.file).stem();
  cJSON_AddStringToObject(data.get(), "name", name.c_str());
  cJSON_AddStringToObject(data.get(), "about", story.scenario.about.c_str());
  cJSON_AddBoolToObject(data.get(), "ok", as_expected ? 1 : 0);
  cJSON_AddNumberToObject(data.get(), "seed", static_cast<double>(air.seed));
  cJSON_AddNumberToObject(data.get(), "loss", air.loss * 100);
  add_time(data.get(), "seconds", story.mesh.loop.clock.now());
  add_units(data.get(), story);
  add_frames(recorder, story.mesh, cJSON_AddArrayToObject(data.get(), "frames"));
  add_rest(recorder, story.mesh, data.get());
  add_verdicts(data.get(), story);
  std::string json = text_of(data);
  // Nothing in the data may end the element that it stands in.
  for (std::size_t at = json.find("</"); at != std::string::npos; at = json.find("</", at)) {
    json.replace(at, 2, "<\\/");
  }
  return json;
}

}  // namespace

std::string write_report(const Recorder& recorder, const Story& story, bool as_expected) {
  static constexpr std::string_view kMark = "@DATA@";
  const std::string page = kReportTemplate;
  const std::size_t at = page.find(kMark);
  const bool written = write_file(
      recorder.folder + "/report.html",
      page.substr(0, at) + data_of(recorder, story, as_expected) + page.substr(at + kMark.size()));
  return written ? "" : no_write(recorder, "report.html");
}

}  // namespace lab
