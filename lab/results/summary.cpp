#include "results/summary.h"

#include <array>

#include "results/json.h"

namespace lab {

namespace {

const char* name_of(Journey::First first) {
  constexpr std::array<const char*, 5> kNames{"none", "running", "completed", "failed", "spoiled"};
  return kNames[static_cast<std::size_t>(first)];
}

}  // namespace

void add_units(cJSON* to, const Story& story) {
  cJSON* list = cJSON_AddArrayToObject(to, "units");
  for (const auto& node : story.mesh.nodes) {
    const Journey& journey = journey_of(story.journeys, *node);
    const auto add_since_powered = [&](cJSON* item, const char* key, Time time) {
      if (time >= Time{}) {
        add_time(item, key, time - journey.powered);
      }
    };
    cJSON* item = add_object(list);
    cJSON_AddStringToObject(item, "unit", node->name.c_str());
    cJSON_AddStringToObject(item, "station", text_of(node->radio.mac).c_str());
    cJSON_AddStringToObject(item, "kind",
                            node->kind == NodeKind::base   ? "base"
                            : node->kind == NodeKind::unit ? "unit"
                                                           : "stranger");
    cJSON_AddStringToObject(item, "outcome", outcome_of(story.mesh, *node, journey).c_str());
    cJSON_AddNumberToObject(item, "mode", node->platform.mode);
    cJSON_AddStringToObject(item, "first_handshake", name_of(journey.first_handshake));
    cJSON_AddNumberToObject(item, "gave_up", journey.gave_up);
    cJSON* give_ups = cJSON_AddObjectToObject(item, "give_ups");
    for (const auto& [why, often] : journey.give_ups) {
      cJSON_AddNumberToObject(give_ups, why.c_str(), often);
    }
    add_since_powered(item, "credentials", journey.credentials);
    add_since_powered(item, "installed", journey.installed);
    cJSON_AddNumberToObject(item, "frames", journey.frames);
    cJSON_AddNumberToObject(item, "resent", journey.resent);
    cJSON_AddNumberToObject(item, "peak_kib", static_cast<double>(node->sandbox.peak_kib));
  }
}

void add_keys(cJSON* to, const Mesh& mesh) {
  const std::string& store = mesh.kit.keys;
  cJSON_AddStringToObject(to, "keys",
                          store.empty() ? "made in the run" : ("from " + store).c_str());
  long taken = 0;
  for (const auto& node : mesh.nodes) {
    taken += pairs_taken(node->sandbox);
  }
  if (!store.empty()) {
    cJSON_AddNumberToObject(to, "ready_keys", static_cast<double>(taken));
  }
}

void add_verdicts(cJSON* to, const Story& story) {
  cJSON* list = cJSON_AddArrayToObject(to, "expectations");
  for (const Verdict& verdict : judge(story)) {
    cJSON* item = add_object(list);
    cJSON_AddBoolToObject(item, "holds", verdict.holds ? 1 : 0);
    cJSON_AddStringToObject(item, "text", verdict.text.c_str());
  }
}

}  // namespace lab
