#include "results/report.h"

#include <filesystem>

#include "results/json.h"
#include "results/summary.h"
#include "results/vorlent_why.h"

namespace lab {

extern const char* const kReportTemplate;  // made by the build

namespace {

void add_kinds(const Recorder& recorder, cJSON* data) {
  cJSON* kinds = cJSON_AddArrayToObject(data, "kinds");
  for (const auto& [kind, counts] : recorder.kinds) {
    cJSON* item = add_object(kinds);
    cJSON_AddStringToObject(item, "kind", kind.c_str());
    cJSON_AddNumberToObject(item, "sent", counts.first);
    cJSON_AddNumberToObject(item, "lost", counts.second);
  }
}

void add_timeline(const Recorder& recorder, cJSON* data) {
  std::string list = "[";
  for (const std::string& entry : recorder.told) {
    list += (list.size() > 1 ? ",\n" : "") + entry;
  }
  cJSON_AddRawToObject(data, "timeline", (list + "]").c_str());
}

void add_head(cJSON* data, const Story& story) {
  const AirSettings& air = story.scenario.air;
  const std::string name = std::filesystem::path(story.scenario.file).stem();
  cJSON_AddStringToObject(data, "name", name.c_str());
  cJSON_AddStringToObject(data, "about", story.scenario.about.c_str());
  cJSON_AddNumberToObject(data, "seed", static_cast<double>(air.seed));
  cJSON_AddNumberToObject(data, "loss", air.loss * 100);
  add_time(data, "seconds", story.mesh.loop.clock.now());
  add_keys(data, story.mesh);
  add_units(data, story);
}

// Nothing in the data may end the element that it stands in.
std::string page_with(std::string json) {
  static constexpr std::string_view kMark = "@DATA@";
  for (std::size_t at = json.find("</"); at != std::string::npos; at = json.find("</", at)) {
    json.replace(at, 2, "<\\/");
  }
  const std::string page = kReportTemplate;
  const std::size_t at = page.find(kMark);
  return page.substr(0, at) + json + page.substr(at + kMark.size());
}

}  // namespace

std::string live_page(const Story& story) {
  const Json data(cJSON_CreateObject());
  cJSON_AddTrueToObject(data.get(), "live");
  add_head(data.get(), story);
  return page_with(text_of(data));
}

std::string result_of(const Recorder& recorder, const Story& story, int exit_status,
                      const std::string& tools) {
  const Json data(cJSON_CreateObject());
  cJSON_AddStringToObject(data.get(), "what", "result");
  add_head(data.get(), story);
  cJSON_AddBoolToObject(data.get(), "ok", exit_status == 0 ? 1 : 0);
  cJSON_AddBoolToObject(data.get(), "interrupted", exit_status >= 128 ? 1 : 0);
  add_kinds(recorder, data.get());
  add_verdicts(data.get(), story);
  std::vector<std::string> names;
  for (const auto& node : story.mesh.nodes) {
    names.push_back(node->name);
  }
  cJSON_AddItemToObject(data.get(), "why", why_of_results(tools, recorder.folder, names).release());
  return text_of(data);
}

std::string write_report(const Recorder& recorder, const std::string& result) {
  const Json data(cJSON_Parse(result.c_str()));
  add_timeline(recorder, data.get());
  const bool written = write_file(recorder.folder + "/report.html", page_with(text_of(data)));
  return written ? "" : no_write(recorder, "report.html");
}

}  // namespace lab
