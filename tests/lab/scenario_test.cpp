// Scenario files: what they say, and what is said of their errors.
#include <filesystem>

#include "node/boxes.h"
#include "story/expectations.h"

#include "wrong_use.h"

namespace lab {
namespace {

TEST(Scenario, SaysWhatHappensAndWhatMustBe) {
  Errors errors;
  Scenario scenario = parse_scenario(
      "about Two lines\nabout of text: with a colon\n"
      "units 4   # a comment\n\nbases 2\nchannel base-2 36\nloss 12.5%\n"
      "jitter 200ms\nlimit 2min\nskip-waits 60\n"
      "at 1.5s: units power-on\n"
      "when units sends 1002 2 times after 50ms: it power-cycle 3s\n"
      "when base nvram a=b:c: base nvram d=02:a7:00\n"
      "expect units mode 6\nexpect base logged \"a b\"\n"
      "expect first-handshakes 98.5%\n"
      "loss 100% from unit-1 until 5s\n"
      "expect not unit-2 within 5s sent 1000 at most 3 times\n",
      "file", errors);
  ASSERT_THAT(errors, ::testing::IsEmpty());
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
  EXPECT_EQ(scenario.steps[2].trigger.text + " " + scenario.steps[2].argument, "b:c d=02:a7:00");
  EXPECT_TRUE(scenario.losses[0].from == "unit-1" && scenario.losses[0].end == 5s);
  ASSERT_EQ(scenario.expectations.size(), 4U);
  EXPECT_EQ(scenario.expectations[1].text, "a b");
  EXPECT_DOUBLE_EQ(*scenario.expectations[2].share, 0.985);
  const Expectation& last = scenario.expectations[3];
  EXPECT_TRUE(last.negated && last.within == 5s && last.number == 1000);
  EXPECT_TRUE(last.amount.bound == Amount::Bound::at_most && last.amount.number == 3);
  scenario.bases = 1;
  scenario.units = 1;
  check_names(scenario, errors);
  EXPECT_EQ(errors.size(), 2U) << "the second base and the second unit are not there";
}

TEST(Scenario, AllErrorsAreNamedWithWhatCouldStandThere) {
  std::string text;
  std::vector<::testing::Matcher<std::pair<const int, std::string>>> said;
  for (const auto& [message, line] : wrong_cases("/wrong_scenarios.txt", " <- ")) {
    const int number = static_cast<int>(said.size()) + 1;
    const std::string place = "f:" + std::to_string(number) + ": ";
    said.emplace_back(::testing::Pair(number, ::testing::StartsWith(place + message)));
    text += line + "\n";
  }
  Errors errors;
  parse_scenario(text, "f", errors);
  EXPECT_THAT(errors, ::testing::ElementsAreArray(said));
  errors.clear();
  parse_scenario("# units\n", "f", errors);
  EXPECT_THAT(errors, ::testing::ElementsAre(
                          ::testing::Pair(0, ::testing::HasSubstr("at least one line"))));
}

// How each expectation of unit-1 stands: + it holds, - it does not, and ! for good; and whether the
// run may end.
std::string judged(const std::string& lines, const Journey& journey, int mode, int failed = 0) {
  Errors errors;
  const Scenario scenario = parse_scenario(lines, "f", errors);
  EXPECT_THAT(errors, ::testing::IsEmpty());
  Mesh mesh;
  EXPECT_TRUE(mesh.loop.clock.start("/tmp/clock"));
  Story story{mesh, scenario};
  make_mesh(story);
  const Node* unit = find_node(mesh, "unit-1");
  find_node(mesh, "unit-1")->platform.mode = mode;
  for (const Node* node : all_of(mesh, NodeKind::unit)) {
    const bool is_in = failed-- <= 0;
    story.journeys[node].first_handshake =
        is_in ? Journey::First::completed : Journey::First::failed;
  }
  story.journeys[unit] = journey;
  story.journeys[unit].powered = mesh.loop.clock.now();
  note_in_time(story);
  find_node(mesh, "unit-1")->platform.mode = 6;
  std::string how;
  for (const Verdict& verdict : judge(story)) {
    how += std::string(verdict.holds ? "+" : "-") + (verdict.final ? "!" : "");
  }
  return how + (is_decided(story, judge(story)) ? " end" : "");
}

TEST(Scenario, WhoArrivesIsNotThereBefore) {
  Errors errors;
  const Scenario scenario = parse_scenario(
      "units 3\nat 1s: units power-on\nat 5s: unit-2 arrive\nat 6s: base approve unit-2\n"
      "loss 9% from units\nloss 99% from unit-2\nexpect units mode 6\n",
      "f", errors);
  EXPECT_THAT(errors, ::testing::IsEmpty());
  Mesh mesh;
  ASSERT_TRUE(mesh.loop.clock.start("/tmp/clock"));
  char folder[] = "/tmp/arrivals-XXXXXX";
  mesh.kit.work = mkdtemp(folder);
  Story story{mesh, scenario};
  make_mesh(story);
  EXPECT_EQ(find_node(mesh, "unit-2"), nullptr);
  EXPECT_EQ(who_is(mesh, "units").size(), 2U);
  EXPECT_EQ(mesh.air.losses.size(), 1U) << "the other names nobody yet, which is not everybody";
  EXPECT_EQ(mesh.air.losses.front().from.size(), 2U);
  ASSERT_TRUE(prepare_boxes(mesh));
  bring(story, 2);
  EXPECT_EQ(who_is(mesh, "units").size(), 3U);
  EXPECT_EQ(mesh.air.losses.front().from.size(), 3U) << "the rule stands for it too";
  EXPECT_EQ(mesh.air.losses.size(), 2U);
  EXPECT_EQ(unit_number("unit-02"), 0) << "no name of a node";
  std::filesystem::remove_all(folder);
}

TEST(Scenario, CountsAndTimesAreExact) {
  const Journey twice{.gave_up = 2, .sent_counts = {7}};
  const std::string health = "++";
  EXPECT_EQ(judged("expect unit-1 gave-up 2\nexpect unit-1 gave-up at least 2\n"
                   "expect unit-1 gave-up at most 1\nexpect not unit-1 sent 1000 7 times\n"
                   "expect unit-1 heard 1000 at least 1\n",
                   twice, 1),
            "++!-!--" + health);
  const std::string timed = "expect unit-1 within 10s mode 6\nexpect not unit-1 within 0s mode 6\n";
  EXPECT_EQ(judged(timed, twice, 1), "-+!" + health) << "it came to mode 6 later";
  EXPECT_EQ(judged(timed, twice, 6), "+!+!" + health + " end") << "and within 0 s nothing can";
  EXPECT_EQ(judged("expect unit-1 gave-up 2\n", twice, 6), "+" + health + " end");
  const Journey out{.first_handshake = Journey::First::failed};
  const std::string share = "units 15\nloss 30%\nexpect first-handshakes ";
  EXPECT_EQ(judged(share + "as-reckoned\n", out, 6, 5), "+!" + health + " end");
  EXPECT_EQ(judged(share + "as-reckoned\n", out, 6, 6), "-!" + health + " end")
      << "of 15 with 98.2 % each, five fail once in 200,000 runs, and six in seven million";
  EXPECT_EQ(judged(share + "100%\n", out, 6, 1), "-!" + health + " end");
  EXPECT_EQ(judged(share + "0%\n", out, 6, 14), "-!" + health + " end");
  EXPECT_EQ(judged("expect not unit-1 mode 5\nexpect unit-1 gave-up at most 3\n", twice, 6),
            "++" + health)
      << "what must not happen may yet happen";
}

}  // namespace
}  // namespace lab
