// The air and the radios, without any unit behind them: who hears what, what the seed decides, and
// what `wl` refuses. And what a terminal shows of it.
#include <sstream>

#include "base/box_files.h"
#include "lab.h"
#include "wrong_use.h"

namespace lab {
namespace {

using ::testing::ElementsAre, ::testing::EndsWith, ::testing::HasSubstr;

// A base on channel 6 and two units on channel 1, switched on and recorded in /tmp.
class Air : public ::testing::Test {
 protected:
  Air() {
    EXPECT_TRUE(lab.loop.clock.start("/tmp/clock"));
    EXPECT_EQ(open_record(lab.recorder, "/tmp/record"), "");
    lab.console.quiet = true;
    for (const std::string name : {"base", "unit-1", "unit-2"}) {
      Node& node = *lab.nodes.emplace_back(std::make_unique<Node>());
      node.name = name;
      node.kind = name == "base" ? NodeKind::base : NodeKind::unit;
      node.radio.mac = {2, 0, 0, 0, 0, static_cast<std::uint8_t>(lab.nodes.size())};
      node.radio.access_point = name == "base";
      node.radio.channel = name == "base" ? 6 : 1;
      node.radio.on = true;
    }
  }
  Node& node(const char* name) { return *find_node(lab, name); }
  CommandResult wl_of(const char* name, const std::string& call) {
    std::istringstream words(call);
    return wl(lab, node(name), {std::istream_iterator<std::string>(words), {}});
  }
  // Sends one operation, on the channel if one is named; whether it was lost.
  bool loses(const char* from, const char* to, const std::string& channel) {
    wl_of(from, "actframe " + text_of(node(to).radio.mac) + " 0409027e911004 " + channel);
    return lab.recorder.chart.back().lost;
  }
  // Lets the laboratory's time pass.
  void pass(Time span) {
    lab.loop.after(span, [this] { lab.loop.stop(); });
    lab.loop.run();
  }
  std::string capture() {
    lab.recorder.air.close();
    return *read_file("/tmp/record/air.pcapng");
  }
  Lab lab;
  const std::string base_element = "3 11 02:7E:91 0000000308010101";
};

TEST(Fate, IsTheSeedsAndNotTheOrders) {
  AirSettings air{.loss = 0.3, .duplicate = 0.2, .delay = 1ms, .jitter = 200ms, .seed = 5};
  AirSettings other = air;
  other.seed = 6;
  const Mac a{2, 0, 0, 0, 0, 1};
  const Mac b{2, 0, 0, 0, 0, 2};
  int lost = 0, twice = 0, differ = 0;
  for (unsigned n = 0; n < 10000; ++n) {
    const Fate fate = draw_fate(air, a, b, 1000, n);
    EXPECT_EQ(draw_fate(air, a, b, 1000, n).delay, fate.delay);
    EXPECT_TRUE(fate.delay >= 1ms && fate.delay <= 201ms);
    lost += fate.lost ? 1 : 0;
    twice += fate.again ? 1 : 0;
    differ += draw_fate(other, a, b, 1000, n).lost != fate.lost ? 1 : 0;
  }
  EXPECT_NEAR(lost, 3000, 200);
  EXPECT_NEAR(twice, 2000, 200);
  EXPECT_NEAR(differ, 4200, 200) << "2 * 0.3 * 0.7 of all";
}

TEST_F(Air, AFrameIsHeardOnItsChannelAlone) {
  EXPECT_TRUE(loses("unit-1", "base", "")) << "the unit is on channel 1";
  EXPECT_THAT(lab.recorder.chart[0].note, HasSubstr("it listens to channel 6"));
  EXPECT_FALSE(loses("unit-1", "base", "6"));
  EXPECT_EQ(node("unit-1").radio.channel, 1) << "it sends there and stays where it listens";
  wl_of("unit-1", "csa 0 5 6");
  EXPECT_FALSE(loses("unit-1", "base", ""));
  node("base").radio.muted = true;
  EXPECT_TRUE(loses("unit-1", "base", "6"));
  EXPECT_TRUE(loses("base", "unit-1", "6"));
}

TEST_F(Air, AScanFindsTheBaseAndItsElement) {
  for (int twice = 0; twice < 2; ++twice) {
    EXPECT_EQ(wl_of("base", "add_ie " + base_element).status, 0);
  }
  EXPECT_EQ(wl_of("unit-1", "escanresults").status, 0);
  EXPECT_EQ(wl_of("unit-1", "escanresults").status, 1) << "one is running";
  pass(1s);
  EXPECT_EQ(listens_to(node("unit-1").radio), 1) << "the scan is over";
  EXPECT_EQ(node("unit-1").radio.scan_found.count(node("base").radio.mac), 1U);
  EXPECT_EQ(lab.recorder.kinds["probe request"].first, 2 * static_cast<int>(kChannels.size()));
  EXPECT_EQ(lab.recorder.kinds["probe response"].first, 2);
  EXPECT_EQ(wl_of("base", "del_ie " + base_element).status, 0);
  EXPECT_TRUE(node("base").radio.elements.empty()) << "added twice, it was there once";
  const std::string done{"\0\0\0\x45\0\0\0\0", 8};       // type 69, status 0
  const std::string partial{"\0\0\0\x45\0\0\0\x08", 8};  // type 69, status 8
  const std::string events = capture();
  EXPECT_NE(events.find(partial), std::string::npos);
  EXPECT_GT(events.rfind(done), events.rfind(partial)) << "completion comes last";
}

TEST_F(Air, APowerCutEndsWhatWasUnderWay) {
  loses("base", "unit-1", "1");
  wl_of("unit-1", "escanresults");
  radio_off(node("unit-1"));
  pass(1s);
  EXPECT_LE(lab.recorder.kinds["probe request"].first, 1);
  EXPECT_EQ(wl_of("unit-1", "escanresults").status, 1);
  EXPECT_THAT(capture(), ::testing::Not(HasSubstr("daemon of unit-1"))) << "it heard of nothing";
}

TEST_F(Air, AWrongCallFailsWithAMessage) {
  auto calls = wrong_cases("/wrong_calls.txt", ":");
  calls.emplace_back("1 to 1800 bytes", "actframe 02:00:00:00:00:01 " + std::string(3602, '0'));
  for (const auto& [message, call] : calls) {
    const CommandResult result = wl_of("base", call);
    EXPECT_EQ(result.status, 1) << call;
    EXPECT_THAT(result.text, ::testing::AllOf(HasSubstr(message), EndsWith("\n")));
  }
}

TEST_F(Air, ALiveDisplayFitsItsTerminal) {
  node("base").platform.mode = 5;
  EXPECT_THAT(live_lines(lab, {40, 10}), ElementsAre("base     mode 5, waits for units",
                                                     "unit-1   off, waits for the daemon's st",
                                                     "unit-2   off, waits for the daemon's st"));
  node("unit-1").platform.mode = 6;
  EXPECT_THAT(live_lines(lab, {120, 3}),
              ElementsAre(HasSubstr("base"), "and 2 more; 1 units are in"));
}

}  // namespace
}  // namespace lab
