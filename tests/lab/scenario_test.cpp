// Scenario files: what they say, and what is said of their errors.
#include <gmock/gmock.h>

#include "scenario.h"

namespace lab {
namespace {

TEST(Scenario, SaysWhatHappensAndWhatMustBe) {
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(
      parse_scenario("about Two lines\nabout of text: with a colon\n"
                     "units 4   # a comment\n\nbases 2\nchannel base-2 36\nloss 12.5%\n"
                     "jitter 200ms\nlimit 2min\nskip-waits 60\n"
                     "at 1.5s: units power-on\n"
                     "when units sends 1002 2 times after 50ms: it power-cycle 3s\n"
                     "when base nvram a=b:c: base nvram d=02:a7:00\n"
                     "expect units mode 6\nexpect base logged \"a b\"\n"
                     "expect first-handshakes 98%\n",
                     "file", scenario, error))
      << error;
  EXPECT_EQ(scenario.about, "Two lines of text: with a colon");
  EXPECT_EQ(scenario.units, 4);
  EXPECT_EQ(scenario.channels["base-2"], 36);
  EXPECT_DOUBLE_EQ(scenario.air.loss, 0.125);
  EXPECT_EQ(scenario.air.jitter, 200ms);
  EXPECT_EQ(scenario.limit, 120s);
  ASSERT_EQ(scenario.steps.size(), 3U);
  EXPECT_EQ(scenario.steps[0].trigger.after, 1500ms);
  const Step& second = scenario.steps[1];
  EXPECT_EQ(second.line, 12);
  EXPECT_EQ(second.trigger.number, 1002);
  EXPECT_EQ(second.trigger.times, 2);
  EXPECT_EQ(second.trigger.after, 50ms);
  EXPECT_EQ(second.who, "it");
  EXPECT_EQ(second.argument, "3s");
  EXPECT_EQ(scenario.steps[2].trigger.value, "b:c");
  EXPECT_EQ(scenario.steps[2].argument, "d=02:a7:00");
  ASSERT_EQ(scenario.expectations.size(), 3U);
  EXPECT_EQ(scenario.expectations[1].text, "a b");
  EXPECT_EQ(scenario.expectations[2].number, 98);
}

TEST(Scenario, AnErrorNamesFileLineAndWhatWasExpected) {
  const std::vector<std::pair<const char*, const char*>> wrong{
      {"unit 3", "f:1: expected a setting, at, when or expect, found \"unit\""},
      {"\nunits many", "f:2: expected a number of units from 1 to 60, found \"many\""},
      {"units 61", "f:1: expected a number of units from 1 to 60"},
      {"units 3 4", "f:1: expected the end of the line, found \"4\""},
      {"loss 30", "f:1: expected a share from 0% to 100%"},
      {"loss 101%", "f:1: expected a share"},
      {"channel base 14", "f:1: expected a channel"},
      {"at 5: units power-on", "f:1: expected a time such as 200ms, 5s or 10min, found \"5\""},
      {"at 5s units power-on", "f:1: expected a colon"},
      {"at 5s: units jump", "f:1: expected an action (power-on"},
      {"at 5s: units power-cycle", "f:1: expected a time such as"},
      {"at 5s: it kill", "f:1: expected one of this mesh"},
      {"at 5s: base signal HUP", "f:1: expected USR1 or USR2"},
      {"when unit-1 sings: it kill", "f:1: expected sends, hears, mode or nvram"},
      {"when unit-1 sends 1005: it kill", "f:1: expected an operation from 1000 to 1004"},
      {"when unit-1 sends 1000 3: it kill", "f:1: expected times"},
      {"when unit-4 mode 1: it kill", "f:1: expected one of this mesh (3 units, 1 bases)"},
      {"expect units", "f:1: expected mode, credentials, gave-up or logged, found the end"},
      {"expect base-2 mode 5", "f:1: expected one of this mesh"},
      {"expect base logged \"open", "f:1: expected a closing quote"},
      {"units 3", "f: expected at least one line"}};
  for (const auto& [text, message] : wrong) {
    Scenario scenario;
    std::string error;
    const std::string with_end =
        std::string(text) + "\n" + (std::string(text) == "units 3" ? "" : "expect units mode 6\n");
    EXPECT_FALSE(parse_scenario(with_end, "f", scenario, error)) << text;
    EXPECT_THAT(error, ::testing::StartsWith(message));
  }
}

TEST(Scenario, FewerUnitsThanItNamesAreAnError) {
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(parse_scenario("expect unit-3 mode 6\n", "f", scenario, error)) << error;
  scenario.units = 2;
  EXPECT_FALSE(check_names(scenario, error));
}

}  // namespace
}  // namespace lab
