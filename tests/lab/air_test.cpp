// The air and the radios, without any unit behind them: who hears what, what the seed decides, and
// what `wl` refuses.
#include <gmock/gmock.h>

#include "lab.h"

namespace lab {
namespace {

const std::vector<std::string> kBaseElement{"add_ie", "3", "11", "02:7E:91", "0000000308010101"};

// A base on channel 6 and two units on channel 1, switched on and recorded in /tmp.
class Air : public ::testing::Test {
 protected:
  Air() {
    EXPECT_TRUE(lab.loop.clock.start("/tmp/clock"));
    EXPECT_EQ(open_record(lab.recorder, "/tmp/record"), "");
    lab.console.quiet = true;
    for (const std::string name : {"base", "unit-1", "unit-2"}) {
      lab.nodes.push_back(std::make_unique<Node>());
      Node& node = *lab.nodes.back();
      node.name = name;
      node.kind = name == "base" ? NodeKind::base : NodeKind::unit;
      node.radio.mac = {2, 0, 0, 0, 0, static_cast<std::uint8_t>(lab.nodes.size())};
      node.radio.access_point = name == "base";
      node.radio.channel = name == "base" ? 6 : 1;
      node.radio.on = true;
    }
  }
  Node& node(const char* name) { return *find_node(lab, name); }
  CommandResult wl_of(const char* name, const std::vector<std::string>& words) {
    return wl(lab, node(name), words);
  }
  // Lets the laboratory's time pass.
  void pass(Time span) {
    lab.loop.after(span, [this] { lab.loop.stop(); });
    lab.loop.run();
  }
  std::string capture() {
    lab.recorder.air.close();
    return read_file("/tmp/record/air.pcapng").value_or("");
  }
  Lab lab;
};

TEST(Fate, IsTheSeedsAndNotTheOrders) {
  const AirSettings settings{
      .loss = 0.3, .duplicate = 0.2, .delay = 1ms, .jitter = 200ms, .seed = 5};
  const Mac a{2, 0, 0, 0, 0, 1};
  const Mac b{2, 0, 0, 0, 0, 2};
  int lost = 0;
  int twice = 0;
  bool differs = false;
  AirSettings other = settings;
  other.seed = 6;
  for (unsigned n = 0; n < 10000; ++n) {
    const Fate fate = draw_fate(settings, a, b, 1000, n);
    draw_fate(settings, b, a, 1001, n);  // what others meet in between changes nothing
    const Fate again = draw_fate(settings, a, b, 1000, n);
    EXPECT_EQ(fate.lost, again.lost);
    EXPECT_EQ(fate.delay, again.delay);
    EXPECT_GE(fate.delay, 1ms);
    EXPECT_LE(fate.delay, 201ms);
    lost += fate.lost ? 1 : 0;
    twice += fate.again ? 1 : 0;
    differs = differs || draw_fate(other, a, b, 1000, n).lost != fate.lost;
  }
  EXPECT_NEAR(lost, 3000, 200);
  EXPECT_NEAR(twice, 2000, 200);
  EXPECT_TRUE(differs);
}

TEST_F(Air, AFrameIsHeardOnItsChannelAlone) {
  const std::string base = text_of(node("base").radio.mac);
  EXPECT_EQ(wl_of("unit-1", {"actframe", base, "0409027e911000"}).status, 0);
  ASSERT_EQ(lab.recorder.chart.size(), 1U);
  EXPECT_TRUE(lab.recorder.chart[0].lost) << "the unit is on channel 1";
  EXPECT_THAT(lab.recorder.chart[0].note, ::testing::HasSubstr("it listens to channel 6"));
  wl_of("unit-1", {"actframe", base, "0409027e911000", "6"});
  EXPECT_FALSE(lab.recorder.chart[1].lost);
  EXPECT_EQ(node("unit-1").radio.channel, 1) << "it sends there and stays where it listens";
  wl_of("unit-1", {"csa", "0", "5", "6"});
  wl_of("unit-1", {"actframe", base, "0409027e911000"});
  EXPECT_FALSE(lab.recorder.chart[2].lost);
}

TEST_F(Air, AScanFindsTheBaseAndItsElement) {
  EXPECT_EQ(wl_of("base", kBaseElement).status, 0);
  EXPECT_EQ(wl_of("unit-1", {"escanresults"}).status, 0);
  EXPECT_EQ(wl_of("unit-1", {"escanresults"}).status, 1) << "one is running";
  pass(1s);
  EXPECT_EQ(listens_to(node("unit-1").radio), 1) << "the scan is over";
  EXPECT_EQ(node("unit-1").radio.scan_found.count(node("base").radio.mac), 1U);
  EXPECT_EQ(lab.recorder.kinds["probe request"].first, 2 * static_cast<int>(kChannels.size()));
  EXPECT_EQ(lab.recorder.kinds["probe response"].first, 2);
  const std::string done{"\0\0\0\x45\0\0\0\0", 8};       // type 69, status 0
  const std::string partial{"\0\0\0\x45\0\0\0\x08", 8};  // type 69, status 8
  const std::string events = capture();
  EXPECT_NE(events.find(partial), std::string::npos);
  EXPECT_GT(events.rfind(done), events.rfind(partial)) << "completion comes last";
}

TEST_F(Air, APowerCutEndsWhatWasUnderWay) {
  wl_of("unit-1", {"escanresults"});
  pass(1s);
  lab.recorder.kinds.clear();
  wl_of("base", {"actframe", text_of(node("unit-1").radio.mac), "0409027e911004", "1"});
  wl_of("unit-1", {"escanresults"});
  radio_off(node("unit-1"));
  pass(200ms);
  EXPECT_LE(lab.recorder.kinds["probe request"].first, 1);
  EXPECT_EQ(wl_of("unit-1", {"escanresults"}).status, 1);
  const std::string text = capture();
  int events = 0;
  for (std::size_t at = text.find("daemon of unit-1"); at != std::string::npos; ++events) {
    at = text.find("daemon of unit-1", at + 1);
  }
  EXPECT_EQ(events, 2) << "those of the first scan, and none of the frame that was on its way";
}

TEST_F(Air, AMutedRadioNeitherHearsNorIsHeard) {
  node("base").radio.muted = true;
  wl_of("unit-1", {"actframe", text_of(node("base").radio.mac), "0409027e911000", "6"});
  wl_of("base", {"actframe", text_of(node("unit-1").radio.mac), "0409027e911004", "1"});
  EXPECT_TRUE(lab.recorder.chart[0].lost);
  EXPECT_TRUE(lab.recorder.chart[1].lost);
}

TEST_F(Air, ElementsAreThereOnceAndGoOnce) {
  std::vector<std::string> remove = kBaseElement;
  remove[0] = "del_ie";
  EXPECT_EQ(wl_of("base", remove).status, 1) << "not there yet";
  EXPECT_EQ(wl_of("base", kBaseElement).status, 0);
  EXPECT_EQ(wl_of("base", kBaseElement).status, 0);
  EXPECT_EQ(node("base").radio.elements.size(), 1U);
  EXPECT_EQ(wl_of("base", remove).status, 0);
  EXPECT_EQ(wl_of("base", remove).status, 1);
}

TEST_F(Air, AWrongCallFailsWithAMessage) {
  using Words = std::vector<std::string>;
  const std::vector<std::pair<Words, const char*>> calls{
      {{}, "usage"},
      {{"nonsense"}, "unrecognized command 'nonsense'"},
      {{"escanresults", "now"}, "usage"},
      {{"csa", "0", "5"}, "usage"},
      {{"csa", "0", "5", "14"}, "Bad Channel"},
      {{"csa", "2", "5", "6"}, "usage"},
      {{"add_ie", "3", "11", "02:7E:91"}, "usage"},
      {{"add_ie", "64", "11", "02:7E:91", "0000000308010101"}, "packet types"},
      {{"add_ie", "3", "12", "02:7E:91", "0000000308010101"}, "not 12 bytes"},
      {{"add_ie", "3", "11", "02:7E", "0000000308010101"}, "not an OUI"},
      {{"add_ie", "3", "11", "02:7E:91", "000000030801010g"}, "not 11 bytes"},
      {{"actframe", "02:00:00:00:00:01"}, "usage"},
      {{"actframe", "nobody", "0409"}, "not an address"},
      {{"actframe", "02:00:00:00:00:01", "040"}, "hexadecimal"},
      {{"actframe", "02:00:00:00:00:01", std::string(3602, '0')}, "1 to 1800 bytes"},
      {{"actframe", "02:00:00:00:00:01", "0409", "200"}, "Bad Channel"}};
  for (const auto& [words, message] : calls) {
    const CommandResult result = wl_of("base", words);
    EXPECT_EQ(result.status, 1) << message;
    EXPECT_THAT(result.text, ::testing::HasSubstr(message));
    EXPECT_THAT(result.text, ::testing::EndsWith("\n"));
  }
}

}  // namespace
}  // namespace lab
