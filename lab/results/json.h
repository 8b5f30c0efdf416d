// What JSON documents of a run have in common.
#ifndef LAB_JSON_H
#define LAB_JSON_H

#include <cjson/cJSON.h>

#include <memory>
#include <string>

#include "story/expectations.h"

namespace lab {

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, DeleteJson>;

std::string text_of(const Json& json);
// In seconds, to the microsecond.
void add_time(cJSON* to, const char* key, Time time);
cJSON* add_object(cJSON* list);
// The stations and how each has come through, and what was expected of them.
void add_units(cJSON* to, const Story& story);
// Where the key pairs came from.
void add_keys(cJSON* to, const Mesh& mesh);
void add_verdicts(cJSON* to, const Story& story);

}  // namespace lab

#endif
