#include "results/report.h"

#include <cjson/cJSON.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include "lab.h"

namespace lab {

extern const char* const kReportTemplate;  // made by the build

namespace {

using Json = std::unique_ptr<cJSON, void (*)(cJSON*)>;

int index_of(const Lab& lab, const Node* node) {
  for (std::size_t i = 0; i < lab.nodes.size(); ++i) {
    if (lab.nodes[i].get() == node) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

void add_time(cJSON* to, const char* key, Time time) {
  cJSON_AddNumberToObject(to, key, std::round(seconds(time) * 1e6) / 1e6);
}

cJSON* add_object(cJSON* list) {
  cJSON* object = cJSON_CreateObject();
  cJSON_AddItemToArray(list, object);
  return object;
}

void add_nodes(Lab& lab, cJSON* list) {
  for (const auto& node : lab.nodes) {
    const Journey& journey = node->journey;
    const auto after = [&](Time time) {
      return time < Time{} ? Time(-1s) : time - journey.powered;
    };
    cJSON* item = add_object(list);
    cJSON_AddStringToObject(item, "name", node->name.c_str());
    cJSON_AddStringToObject(item, "kind",
                            node->kind == NodeKind::base   ? "base"
                            : node->kind == NodeKind::unit ? "unit"
                                                           : "stranger");
    cJSON_AddStringToObject(item, "outcome", outcome_of(lab, *node).c_str());
    cJSON_AddNumberToObject(item, "mode", node->platform.mode);
    add_time(item, "credentials", after(journey.credentials));
    add_time(item, "installed", after(journey.installed));
    cJSON_AddNumberToObject(item, "frames", journey.frames);
    cJSON_AddNumberToObject(item, "resent", journey.resent);
    cJSON_AddNumberToObject(item, "kib", static_cast<double>(node->sandbox.peak_kib));
  }
}

void add_frames(const Lab& lab, cJSON* list) {
  for (const ChartFrame& frame : lab.recorder.chart) {
    cJSON* item = add_object(list);
    add_time(item, "t", frame.time);
    cJSON_AddNumberToObject(item, "from", index_of(lab, frame.from));
    cJSON_AddNumberToObject(item, "to", index_of(lab, frame.to));
    cJSON_AddNumberToObject(item, "op", frame.operation);
    cJSON_AddBoolToObject(item, "resent", frame.resent ? 1 : 0);
    cJSON_AddBoolToObject(item, "lost", frame.lost ? 1 : 0);
    cJSON_AddStringToObject(item, "note", frame.note.c_str());
  }
}

void add_rest(Lab& lab, cJSON* data) {
  cJSON* modes = cJSON_AddArrayToObject(data, "modes");
  for (const ModeChange& change : lab.recorder.modes) {
    cJSON* item = add_object(modes);
    add_time(item, "t", change.time);
    cJSON_AddNumberToObject(item, "node", index_of(lab, change.node));
    cJSON_AddNumberToObject(item, "mode", change.mode);
  }
  cJSON* kinds = cJSON_AddArrayToObject(data, "kinds");
  for (const auto& [kind, counts] : lab.recorder.kinds) {
    cJSON* item = add_object(kinds);
    cJSON_AddStringToObject(item, "kind", kind.c_str());
    cJSON_AddNumberToObject(item, "sent", counts.first);
    cJSON_AddNumberToObject(item, "lost", counts.second);
  }
  cJSON* verdicts = cJSON_AddArrayToObject(data, "verdicts");
  for (const Verdict& verdict : judge(lab)) {
    cJSON* item = add_object(verdicts);
    cJSON_AddBoolToObject(item, "holds", verdict.holds ? 1 : 0);
    cJSON_AddStringToObject(item, "text", verdict.text.c_str());
  }
}

std::string data_of(Lab& lab) {
  const Json data(cJSON_CreateObject(), cJSON_Delete);
  const std::string name = std::filesystem::path(lab.scenario.file).stem();
  cJSON_AddStringToObject(data.get(), "name", name.c_str());
  cJSON_AddStringToObject(data.get(), "about", lab.scenario.about.c_str());
  cJSON_AddBoolToObject(data.get(), "ok", lab.exit_status == 0 ? 1 : 0);
  cJSON_AddNumberToObject(data.get(), "seed", static_cast<double>(lab.air.seed));
  cJSON_AddNumberToObject(data.get(), "loss", lab.air.loss * 100);
  add_time(data.get(), "seconds", lab.loop.clock.now());
  add_nodes(lab, cJSON_AddArrayToObject(data.get(), "nodes"));
  add_frames(lab, cJSON_AddArrayToObject(data.get(), "frames"));
  add_rest(lab, data.get());
  char* text = cJSON_PrintUnformatted(data.get());
  std::string json = text != nullptr ? text : "{}";
  cJSON_free(text);
  // Nothing in the data may end the element that it stands in.
  for (std::size_t at = json.find("</"); at != std::string::npos; at = json.find("</", at)) {
    json.replace(at, 2, "<\\/");
  }
  return json;
}

}  // namespace

bool write_report(Lab& lab) {
  static constexpr std::string_view kMark = "@DATA@";
  const std::string page = kReportTemplate;
  const std::size_t at = page.find(kMark);
  return write_file(lab.recorder.folder + "/report.html",
                    page.substr(0, at) + data_of(lab) + page.substr(at + kMark.size()));
}

}  // namespace lab
