// The air and the radios, without any unit behind them: who hears what, what the seed decides, and
// what `wl` refuses. And what a terminal shows of it.
#include <sstream>

#include "air/driver_event.h"
#include "results/console.h"
#include "wrong_use.h"

namespace lab {
namespace {

using ::testing::ElementsAre, ::testing::EndsWith, ::testing::HasSubstr, ::testing::Pair;

// A base on channel 6 and two units on channel 1, switched on; what each was sent and told is kept.
class Air : public ::testing::Test {
 protected:
  Air() {
    EXPECT_TRUE(mesh.loop.clock.start("/tmp/clock"));
    mesh.watchers = {[this](const Happening& seen) {
      if (const auto* sent = seen.as<FrameSent>()) {
        ++kinds[sent->frame.frame.kind];
        lost = sent->missed();
      } else if (const auto* event = seen.as<DriverTold>()) {
        told[seen.node.name].push_back(hex(slice(event->datagram, 47, 5)));
      }
    }};
    add_base(mesh, 1, {});
    add_unit(mesh, 1);
    add_unit(mesh, 2);
    for (Radio* radio : mesh.air.radios) {
      radio->on = true;
    }
  }
  Node& node(const char* name) { return *find_node(mesh, name); }
  CommandResult wl_of(const char* name, const std::string& call) {
    std::istringstream words(call);
    return wl(mesh.air, node(name).radio, {std::istream_iterator<std::string>(words), {}});
  }
  // Sends one operation, on the channel if one is named; whether it was lost.
  bool loses(const char* from, const char* to, const std::string& channel) {
    wl_of(from, "actframe " + text_of(node(to).radio.mac) + " 0409027e911004 " + channel);
    return lost;
  }
  // Lets the laboratory's time pass.
  void pass(Time span) {
    mesh.loop.after(span, [this] { mesh.loop.stop(); });
    mesh.loop.run();
  }
  Mesh mesh;
  std::map<FrameKind, int> kinds;
  std::map<std::string, std::vector<std::string>> told;  // type and status of each event
  bool lost = false;
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
  EXPECT_FALSE(loses("unit-1", "base", "6"));
  EXPECT_EQ(node("unit-1").radio.channel, 1) << "it sends there and stays where it listens";
  wl_of("unit-1", "csa 0 5 6");
  EXPECT_FALSE(loses("unit-1", "base", ""));
  mesh.air.losses = {{.loss = 1, .from = {&node("base").radio}, .to = {}, .begin = {}, .end = 60s}};
  EXPECT_FALSE(loses("unit-1", "base", ""));
  EXPECT_TRUE(loses("base", "unit-1", "")) << "one direction is bad for a while";
  mesh.air.losses[0].end = 0s;
  EXPECT_FALSE(loses("base", "unit-1", ""));
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
  EXPECT_EQ(kinds[FrameKind::probe_request], 2 * static_cast<int>(kChannels.size()));
  EXPECT_EQ(kinds[FrameKind::probe_response], 2);
  EXPECT_EQ(wl_of("base", "del_ie " + base_element).status, 0);
  EXPECT_TRUE(node("base").radio.elements.empty()) << "added twice, it was there once";
  EXPECT_THAT(told["unit-1"], ElementsAre("4500000008", "4500000000")) << "completion is last";
}

TEST_F(Air, APowerCutEndsWhatWasUnderWay) {
  loses("base", "unit-1", "1");
  wl_of("unit-1", "escanresults");
  radio_off(node("unit-1").radio);
  pass(1s);
  EXPECT_LE(kinds[FrameKind::probe_request], 1);
  EXPECT_EQ(wl_of("unit-1", "escanresults").status, 1);
  EXPECT_TRUE(told["unit-1"].empty()) << "it heard of nothing";
}

TEST_F(Air, WhatAStrangerForgesGivesNoUnitAReason) {
  std::vector<std::string> reasons;
  mesh.watchers.emplace_back([&](const Happening& seen) {
    if (const auto* unserved = seen.as<Unserved>()) {
      reasons.push_back(std::to_string(unserved->frame) + ": " + unserved->why);
    }
  });
  add_stranger(mesh);
  node("base").sandbox.daemon_runs = true;
  node("base").platform.mode = 5;
  const Mac unit = node("unit-1").radio.mac;
  std::uint64_t number = 0;
  // All in the name of unit-1: two by the stranger, two by the unit itself.
  for (const char* body :
       {"0409027e911000000d", "0409027e9110000000", "0409027e9110000000", "0409027e911000ffff"}) {
    const Node& from = node(number < 2 ? "stranger" : "unit-1");
    const int operation = number < 2 ? 0 : 1000;
    publish(mesh, node("base"),
            DriverTold{driver_event(EventType::action_frame, 0, {}, unit, *parse_hex(body)), &from,
                       operation, ++number});
  }
  const std::string taken = "[p][1]Got action frame with attr_id:1000 from STA: " + text_of(unit);
  const std::string dropped =
      "[p][1]drop action frame of 9 bytes from STA: " + text_of(unit) + ": data";
  for (const std::string& line : {dropped, taken, std::string("[h][1]Invalid ie."), taken,
                                  std::string("[h][1]Cannot find the client (x)"), dropped}) {
    publish(mesh, node("base"), Logged{line});
  }
  EXPECT_THAT(reasons, ElementsAre("3: it has no row in the base's table",
                                   "4: the daemon drops it: it is cut off or too large"));
}

TEST_F(Air, AGiveUpHasTheReasonThatItsFramesShow) {
  Journeys journeys;
  mesh.watchers.emplace_back([&](const Happening& seen) { follow_journey(journeys, mesh, seen); });
  Node& unit = node("unit-1");
  const auto gives_up = [&] { publish(mesh, unit, ModeEntered{0, 1}); };
  gives_up();
  publish(mesh, node("base"), Unserved{&unit, 1000, 1, "no row"});
  gives_up();
  publish(mesh, node("base"), Unserved{&unit, 1000, 1, "no row"});
  wl_of("base", "actframe " + text_of(unit.radio.mac) + " 0409027e911001");
  gives_up();
  publish(mesh, unit, DriverTold{{}, &node("base"), 1004, 1});
  gives_up();
  EXPECT_THAT(journeys[&unit].give_ups,
              ElementsAre(Pair("1000 lost", 1), Pair("1000 not served: no row", 1),
                          Pair("1001 lost", 1), Pair("1003 not sent", 1)));
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
  const Scenario scenario;
  const Story story{mesh, scenario};
  node("base").platform.mode = 5;
  EXPECT_THAT(live_lines(story, {40, 10}), ElementsAre("     0.0  base     base, waits for unit",
                                                       "     0.0  unit-1   not running, waits f",
                                                       "     0.0  unit-2   not running, waits f"));
  node("unit-1").platform.mode = 6;
  EXPECT_THAT(live_lines(story, {120, 3}),
              ElementsAre(HasSubstr("base"), "and 2 more; 1 units are in"));
}

}  // namespace
}  // namespace lab
