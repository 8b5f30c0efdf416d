#include "results/json.h"

#include <algorithm>
#include <cmath>

namespace lab {

namespace {

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

}  // namespace lab
