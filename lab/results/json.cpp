#include "results/json.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace lab {

namespace {

const char* name_of(Journey::First first) {
  constexpr std::array<const char*, 5> kNames{"none", "running", "completed", "failed", "spoiled"};
  return kNames[static_cast<std::size_t>(first)];
}

// In UTF-8; 0 where the text does not begin with a character.
std::size_t length_of_character(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(0);
  const std::size_t length = first < 0x80                     ? 1
                             : first >= 0xc2 && first <= 0xdf ? 2
                             : first >= 0xe0 && first <= 0xef ? 3
                             : first >= 0xf0 && first <= 0xf4 ? 4
                                                              : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0U) != 0x80) {
      return 0;
    }
  }
  // Longer than need be, halves of pairs, beyond the last character.
  const unsigned two = first << 8U | byte(1);
  const bool wrong = length > 2 && (two < 0xe0a0 || (two >= 0xeda0 && two < 0xee00) ||
                                    (two >= 0xf000 && two < 0xf090) || two > 0xf48f);
  return wrong ? 0 : length;
}

}  // namespace

std::string text_of(const Json& json) {
  char* printed = cJSON_PrintUnformatted(json.get());
  const std::string_view all = printed != nullptr ? printed : "{}";
  std::string text;
  for (std::size_t at = 0; at < all.size();) {
    const std::size_t length = length_of_character(all.substr(at));
    text += length > 0 ? all.substr(at, length) : "\xef\xbf\xbd";
    at += std::max<std::size_t>(length, 1);
  }
  cJSON_free(printed);
  return text;
}

void add_time(cJSON* to, const char* key, Time time) {
  cJSON_AddNumberToObject(to, key, std::round(seconds(time) * 1e6) / 1e6);
}

cJSON* add_object(cJSON* list) {
  cJSON* object = cJSON_CreateObject();
  cJSON_AddItemToArray(list, object);
  return object;
}

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
