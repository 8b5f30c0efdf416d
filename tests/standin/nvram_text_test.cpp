// What is written is read again: the fuzz target and its corpus hold that for any text.
#include "nvram_text.h"

#include <gtest/gtest.h>

using namespace std::string_literals;
using standin::parse_values;
using standin::Values;

TEST(NvramText, ReadsEveryKindOfLine) {
  const struct {
    std::string text;
    Values values;
  } cases[] = {
      {"", {}},
      {"a=1\nb=\n", {{"a", "1"}, {"b", ""}}},
      {"a=1", {{"a", "1"}}},
      {"a=b=c\n", {{"a", "b=c"}}},
      {"note\n\n=x\n\n", {}},
      {"a=1\na=2\n", {{"a", "2"}}},
      {R"(a=x\\n\ny)", {{"a", "x\\n\ny"}}},
      {R"(a=\x\)", {{"a", R"(\x\)"}}},
      {"a=1\r\n a = 2 \n", {{"a", "1\r"}, {" a ", " 2 "}}},
      {"a=1\0x\nb\0=\xff\n"s, {{"a", "1"}, {"b\0"s, "\xff"}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parse_values(c.text), c.values) << c.text;
  }
}

TEST(NvramText, ChangesTheLinesOfItsKeyAlone) {
  const std::string text = "# note\na=1\nab=\\x\na=2\nno end";
  EXPECT_EQ(standin::with_value(text, "a", "3"), "# note\nab=\\x\na=3\nno end");
  EXPECT_EQ(standin::with_value(text, "b", "4"), text + "\nb=4\n");
  EXPECT_EQ(standin::without_key(text, "a"), "# note\nab=\\x\nno end");
  EXPECT_EQ(standin::without_key(text, "b"), text);
  EXPECT_EQ(standin::with_value("", "a", "1"), "a=1\n");
}
