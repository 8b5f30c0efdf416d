// The NVRAM file of the stand-in: any text can be read, and a change touches its own key only.
#include "nvram_text.h"

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  standin::Values values = standin::parse_values(text);
  require(standin::parse_values(standin::format_values(values)) == values,
          "what is written is read");
  const std::string key = values.empty() ? "key" : values.begin()->first;
  const std::string value = text.c_str();
  values[key] = value;
  require(standin::parse_values(standin::with_value(text, key, value)) == values, "one is set");
  values.erase(key);
  require(standin::parse_values(standin::without_key(text, key)) == values, "one is gone");
  return 0;
}
