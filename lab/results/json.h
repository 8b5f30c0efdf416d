// Writes JSON.
#ifndef LAB_JSON_H
#define LAB_JSON_H

#include <cjson/cJSON.h>

#include <memory>
#include <string>

#include "base/loop.h"

namespace lab {

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, DeleteJson>;

std::string text_of(const Json& json);
// In seconds, to the microsecond.
void add_time(cJSON* to, const char* key, Time time);
cJSON* add_object(cJSON* list);

}  // namespace lab

#endif
