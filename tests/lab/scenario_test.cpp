// Scenario files: what they say, and what is said of their errors.
#include "story/scenario.h"

#include "wrong_use.h"

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
  EXPECT_EQ(scenario.channels["base-2"].number, 36);
  EXPECT_DOUBLE_EQ(scenario.air.loss, 0.125);
  EXPECT_EQ(scenario.limit, 120s);
  ASSERT_EQ(scenario.steps.size(), 3U);
  EXPECT_EQ(scenario.steps[0].trigger.after, 1500ms);
  const Step& second = scenario.steps[1];
  EXPECT_TRUE(second.line == 12 && second.trigger.number == 1002 && second.trigger.times == 2);
  EXPECT_EQ(second.trigger.after, 50ms);
  EXPECT_EQ(second.who + " " + second.argument, "it 3s");
  EXPECT_EQ(scenario.steps[2].trigger.value + " " + scenario.steps[2].argument, "b:c d=02:a7:00");
  ASSERT_EQ(scenario.expectations.size(), 3U);
  EXPECT_EQ(scenario.expectations[1].text, "a b");
  EXPECT_EQ(scenario.expectations[2].number, 98);
  scenario.units = 0;
  EXPECT_TRUE(check_names(scenario, error)) << "it names no single unit";
  scenario.bases = 1;
  EXPECT_FALSE(check_names(scenario, error)) << "it names the second base";
}

TEST(Scenario, AnErrorNamesFileLineAndWhatWasExpected) {
  for (const auto& [message, input] : wrong_cases("/wrong_scenarios.txt", " <- ")) {
    Scenario scenario;
    std::string error;
    const std::string text = (input.rfind("\\n", 0) == 0 ? "\n" + input.substr(2) : input) + "\n";
    const bool without_end = input == "# units";
    EXPECT_FALSE(
        parse_scenario(text + (without_end ? "" : "expect units mode 6\n"), "f", scenario, error))
        << input;
    EXPECT_THAT(error, ::testing::StartsWith(message));
  }
}

}  // namespace
}  // namespace lab
