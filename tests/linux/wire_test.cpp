// The radio's service between the air and the daemon: what is sent on is what the daemon acts on.
#include "wire/driver_event.h"

#include <iterator>
#include <sstream>

#include "discovery/candidate_table.h"
#include "support/daemon_test.h"
#include "wire/request.h"

namespace {

using air::Bytes;
using air::operator+;

const Bytes kRadiotap = air::from_hex("000012002e48000010028509a000e6000000");  // 2437 MHz, FCS
const Bytes kFcs(4, 0x77);

Bytes frame(int control, const air::Mac& to, const air::Mac& from, const Bytes& body) {
  const Bytes addresses = Bytes(to.begin(), to.end()) + Bytes(from.begin(), from.end());
  return Bytes{static_cast<std::uint8_t>(control), 0, 0, 0} + addresses + Bytes(6, 0xff) +
         Bytes{0x10, 0} + body;
}

Bytes probe(const air::Mac& from) {
  return frame(0x40, radio::kBroadcast, from, air::element(2));
}

class WireTest : public DaemonTest {
 protected:
  // Whether the daemon of `own` is told of it.
  bool on_air(const Bytes& packet, const air::Mac& own = air::BASE) {
    const auto received = radio::strip_radiotap(packet);
    const auto heard = received ? radio::examine(received->frame, own) : std::nullopt;
    return heard && hand_over(radio::heard_event(own, *heard, received->frequency));
  }
  bool hand_over(const radio::Datagram& event) {
    const Bytes bytes(event.view().begin(), event.view().end());
    return event.whole() && receives(bytes) == 0;
  }
};

TEST_F(WireTest, BaseHearsUnitsAndNobodyElse) {
  starts_in(ONBOARD_MODE_BASE);
  const Bytes action = air::action_frame(0x1000, air::element(2));
  const Bytes own = frame(0xd0, air::BASE, air::UNIT, action);
  Bytes fragment = own;
  fragment[22] = 1;
  Bytes sealed = own;
  sealed[1] = 0x40;
  Bytes broken = kRadiotap;
  broken[8] |= 0x40;
  for (const Bytes& foreign :
       {frame(0xd0, air::Mac{}, air::UNIT, action), fragment, sealed,
        frame(0x50, air::BASE, air::UNIT, action),
        frame(0xd0, air::BASE, air::UNIT, air::from_hex("0409506f9a1001")),
        Bytes(own.begin(), own.begin() + 28), frame(0xd0, air::BASE, radio::kBroadcast, action),
        probe(air::BASE), frame(0x40, air::Mac{2}, air::UNIT, air::element(2))}) {
    EXPECT_FALSE(on_air(kRadiotap + foreign + kFcs)) << air::to_hex(foreign);
  }
  EXPECT_FALSE(on_air(broken + own + kFcs));
  EXPECT_FALSE(on_air(Bytes(kRadiotap.begin(), kRadiotap.begin() + 17)));
  EXPECT_FALSE(on_air(kRadiotap + Bytes(3, 0)));
  EXPECT_EQ(context.candidate_count, 0);

  const radio::Datagram sent = radio::build_action(air::UNIT, air::BASE, air::BASE, {});
  EXPECT_EQ(air::to_hex(Bytes(sent.view().begin(), sent.view().end())),
            "d0000000" + air::to_hex(Bytes(air::UNIT.begin(), air::UNIT.end())) +
                "ac1020304050ac10203040500000");

  EXPECT_TRUE(on_air(kRadiotap + probe(air::UNIT) + kFcs));
  EXPECT_EQ(context.candidate_count, 1);
  EXPECT_STREQ(candidate_table[0].mac.data(), air::UNIT_TEXT.c_str());
  EXPECT_TRUE(on_air(kRadiotap + frame(0x40, air::BASE, air::UNIT, air::element(2)) + kFcs));
  EXPECT_TRUE(on_air(kRadiotap + own + kFcs));
  EXPECT_EQ(candidate_table[0].stage, 2);
}

// What a card says of a frame stands at places that depend on what else it says.
TEST(RadiotapTest, IsReadWhateverFieldsItHas) {
  for (const char* header : {"000012002e48000010028509a000e6000000",
                             "00001e000b000080000000000000000001020304050607081000"
                             "8509a000",
                             "00000e000a00000010008509a000", "00000e000c000000020085090000"}) {
    const Bytes packet = air::from_hex(header) + Bytes(40, 7);
    const auto received = radio::strip_radiotap(packet);
    ASSERT_TRUE(received) << header;
    EXPECT_EQ(received->frequency, 2437) << header;
    EXPECT_EQ(received->frame.size(), header[9] == 'c' ? 40U : 36U) << header;
    for (std::size_t size = 0; size + 40 < packet.size(); ++size) {
      EXPECT_FALSE(radio::strip_radiotap(radio::View(packet).first(size)));
    }
  }
}

TEST(RadiotapTest, HasAVersionAndIsWhole) {
  const auto is_read = [](const char* packet) {
    return radio::strip_radiotap(air::from_hex(packet)).has_value();
  };
  EXPECT_TRUE(is_read("000008000000000007070707")) << "without a field";
  EXPECT_FALSE(is_read("0000090000000000")) << "longer than what came";
  EXPECT_FALSE(is_read("010008000000000007070707"));
  EXPECT_FALSE(is_read("000008000000008007070707")) << "a word that is not there";
}

TEST_F(WireTest, UnitFindsBaseOnItsChannel) {
  starts_in(ONBOARD_MODE_UNCONFIGURED);
  const Bytes elements = air::ie(0, air::from_text("home")) + air::element(1);
  EXPECT_TRUE(hand_over(radio::scan_end_event(air::UNIT, radio::ScanEnd::complete)));
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
  EXPECT_TRUE(hand_over(
      radio::bss_event(air::UNIT, {.bssid = air::BASE, .frequency = 5745, .elements = elements})));
  EXPECT_STREQ(context.target.bssid.data(), air::BASE_BSSID.c_str());
  EXPECT_EQ(context.target.channel, 149);
}

TEST(EventTest, ABssIsToldByteForByte) {
  const auto told = [](const Bytes& elements) {
    const radio::Datagram event = radio::bss_event(air::UNIT, {.bssid = air::BASE,
                                                               .frequency = 2412,
                                                               .beacon_interval = 0x164,
                                                               .capabilities = 0x1431,
                                                               .signal = -60,
                                                               .elements = elements});
    return air::to_hex(Bytes(event.view().begin(), event.view().end()));
  };
  const auto zeros = [](std::size_t bytes) { return std::string(2 * bytes, '0'); };
  const std::string unit = air::to_hex(Bytes(air::UNIT.begin(), air::UNIT.end()));
  const std::string base = air::to_hex(Bytes(air::BASE.begin(), air::BASE.end()));
  const std::string name = "776c30" + zeros(13);
  EXPECT_EQ(told(air::from_hex("010182000461626364")),
            name + unit + unit +
                "886c800100cb00001018000100020000"
                "0000004500000008" +
                zeros(8) + "00000095" + base + name + zeros(2) + "950000006d00000001000100" +
                "6d00000089000000" + base +
                "64013114"
                "0461626364" +
                zeros(28 + 21) + "0110" + zeros(4) + "c4ff" + zeros(36) + "8000" + zeros(2) +
                "09000000" + zeros(4) + "010182000461626364");
  const std::string longest(64, '7');
  for (const auto& [elements, ssid] : {std::pair<std::string, std::string>("0000", "00"),
                                       {"0021" + longest + "77", "20" + longest},
                                       {"0003"
                                        "6162",
                                        "00"},
                                       {"00", "00"},
                                       {"0100"
                                        "0001",
                                        "00"}}) {
    EXPECT_EQ(told(air::from_hex(elements)).substr(236, 66), ssid + zeros(33 - ssid.size() / 2))
        << elements;
  }
}

TEST(EventTest, IsWholeUpToWhatTheDaemonReads) {
  for (const std::size_t size : {4008U, 4009U}) {
    const Bytes body(size, 7);
    const radio::Heard heard{radio::FrameKind::action, air::UNIT, 0, false, {}, body};
    const radio::Datagram event = radio::heard_event(air::BASE, heard, 2437);
    EXPECT_EQ(event.whole(), size == 4008);
    EXPECT_EQ(event.view().size(), 4096U);
  }
}

TEST(RequestTest, WordsOfTheDaemonAreUnderstoodAndOthersAreNot) {
  const auto read = [](const std::string& text) {
    std::vector<std::string> words;
    std::istringstream in(text);
    std::copy(std::istream_iterator<std::string>(in), {}, std::back_inserter(words));
    return radio::read_request(radio::split(radio::join(words)));
  };
  radio::Elements elements;
  const radio::Request base = read("add_ie 3 11 02:7E:91 0000000308010101");
  ASSERT_EQ(base.wish, radio::Wish::add_element);
  EXPECT_TRUE(add(elements, base.element) && add(elements, base.element));
  EXPECT_EQ(on_air(elements, radio::kInBeacons), air::element(1));
  EXPECT_EQ(on_air(elements, radio::kInProbeRequests), Bytes());
  EXPECT_FALSE(remove(elements, read("del_ie 16 11 02:7E:91 0000000308010101").element));
  EXPECT_TRUE(remove(elements, base.element));
  EXPECT_FALSE(remove(elements, base.element));
  const radio::Element largest{1, Bytes(255, 1)};
  for (std::uint8_t i = 0; i < 4; ++i) {
    radio::Element other = largest;
    other.content[0] = i;
    EXPECT_EQ(add(elements, other), i < 3);
  }
  EXPECT_FALSE(add(elements, {1, Bytes(252, 9)}));
  EXPECT_TRUE(add(elements, {16, Bytes(251, 9)})) << "1024 bytes";
  const radio::Request action = read("actframe AC:10:20:30:40:50 0409027e911004 165");
  EXPECT_EQ(action.to, air::BASE);
  EXPECT_EQ(action.body, air::action_frame(0x1004, {}));
  EXPECT_EQ(radio::frequency_of(action.channel), 5825);
  EXPECT_EQ(read("csa 0 5 14").channel, radio::channel_of(2484));
  EXPECT_TRUE(read("csa 1 5 14").quiet && !read("csa 0 5 14").quiet);
  EXPECT_EQ(read("escanresults").wish, radio::Wish::scan);
  for (const auto& [wrong, why] :
       {std::pair("", "a command is missing; see wl --help"),
        {"up", "up: no such command; see wl --help"},
        {"escanresults 1", "escanresults takes no arguments"},
        {"csa 2 5 6", "2: no mode (0 go on sending until the switch, 1 fall silent)"},
        {"csa 0 256 6", "256: no count of beacons, 0 to 255"},
        {"csa 0 5 15", "15: no channel"},
        {"csa 0 5 6x", "6x: no channel"},
        {"csa 0 5", "csa takes MODE COUNT CHANNEL"},
        {"del_ie 3", "del_ie takes FRAMES LENGTH OUI DATA"},
        {"add_ie 4 11 02:7E:91 0000000308010101",
         "4: association frames (4 and 8) cannot carry elements here"},
        {"add_ie 3 12 02:7E:91 0000000308010101",
         "0000000308010101: not 12 bytes in hexadecimal with the OUI"},
        {"add_ie 3 11 02:7E 0000000308010101", "02:7E: no OUI such as 02:7E:91"},
        {"add_ie 0 11 02:7E:91 0000000308010101",
         "0: no set of frames (1 beacons, 2 probe responses, 16 probe requests)"},
        {"add_ie 3 11 02:7E:91 000000030801010g",
         "000000030801010g: not 11 bytes in hexadecimal with the OUI"},
        {"actframe ac:10:20:30:40:50", "actframe takes ADDRESS DATA [CHANNEL]"},
        {"actframe ac:10:20:30:40 04", "ac:10:20:30:40: no address such as 02:00:00:00:01:00"},
        {"actframe ac:10:20:30:40:50: 04",
         "ac:10:20:30:40:50:: no address such as 02:00:00:00:01:00"},
        {"actframe ac:10:20:30:40:50 040",
         "actframe: the data is not 1 to 1800 bytes in hexadecimal"},
        {"actframe ac:10:20:30:40:50 04 0", "0: no channel"}}) {
    EXPECT_EQ(read(wrong).wish, radio::Wish::none) << wrong;
    EXPECT_EQ(read(wrong).wrong, why);
  }
  EXPECT_EQ(radio::channel_of(0) + radio::channel_of(5955) + radio::channel_of(2400), 0);
}

}  // namespace
