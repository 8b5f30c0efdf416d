// The NVRAM file of the stand-in: any text can be read, and a change touches its own key only.
#include "nvram_file.h"

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const standin::Values values = standin::parse_values(text);
  require(standin::parse_values(standin::format_values(values)) == values,
          "what is written is read");
  const std::string key = values.empty() ? "key" : values.begin()->first;
  const std::string value =
      values.empty() ? text.substr(0, text.find('\0')) : values.rbegin()->second;
  standin::Values expected = values;
  expected[key] = value;
  require(standin::parse_values(standin::with_value(text, key, value)) == expected, "one is set");
  expected.erase(key);
  require(standin::parse_values(standin::without_key(text, key)) == expected, "one is gone");
  return 0;
}
