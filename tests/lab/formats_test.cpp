// Frames, captures and NVRAM files: written, read back, and cut short. That a capture is right as a
// whole, tshark says of those of the scenarios; that a driver event is, the daemon that reads it.
#include <gmock/gmock.h>

#include "air/frames.h"
#include "node/unit_nvram.h"
#include "results/json.h"
#include "results/pcapng.h"

namespace lab {
namespace {

using ::testing::ElementsAreArray;

const Mac kBase{0x02, 0xba, 0x5e, 0, 0, 1};
const Mac kUnit{0x02, 0xa7, 0, 0, 0, 7};
const Bytes kElement{0xdd, 0x0b, 0x02, 0x7e, 0x91, 0, 0, 0, 3, 8, 1, 1, 1};

TEST(Bytes, AddressesAndDigitsComeBackAsTheyWent) {
  EXPECT_EQ(text_of(kBase), "02:ba:5e:00:00:01");
  EXPECT_EQ(parse_mac("02:BA:5E:00:00:01"), kBase);
  EXPECT_EQ(parse_hex(hex(kElement)), kElement);
  EXPECT_FALSE(parse_mac("") || parse_mac("02:ba:5e:00:00") || parse_mac("02:ba:5e:00:00:0g"));
  EXPECT_FALSE(parse_hex("0") || parse_hex("zz") || parse_mac("02-ba-5e-00-00-01"));
}

TEST(Frames, ACutHeaderIsNoFrame) {
  const Bytes probe = build_probe_request(kUnit, 9, kElement);
  EXPECT_THAT(elements_of(parse_frame(probe).value()).last(13), ElementsAreArray(kElement));
  for (std::size_t length = 0; length < 24; ++length) {
    EXPECT_FALSE(parse_frame(View(probe).first(length))) << length;
  }
}

TEST(Nvram, ACutStoreIsKnownToBeCut) {
  const std::string whole = "a=\n# a note\nlab_unit=u\n";
  EXPECT_TRUE(is_whole(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(is_whole(whole.substr(0, length))) << length;
  }
}

// What a log holds need not be text; the page and the timeline are.
TEST(Json, IsTextWhateverIsPutIntoIt) {
  const std::string bad = "\xef\xbf\xbd";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\xb6", "\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\xb6"},
      {"a\xaa\xff", "a" + bad + bad},
      {"\xe2\x82", bad + bad},
      {"\xc0\xaf", bad + bad},
      {"\xed\xa0\x80", bad + bad + bad},
      {"\xf4\x90\x80\x80", bad + bad + bad + bad}};
  for (const auto& [put, found] : cases) {
    EXPECT_EQ(text_of(Json(cJSON_CreateString(put.c_str()))), "\"" + found + "\"");
  }
}

TEST(Capture, AFullDiskIsNoticed) {
  Pcapng capture;
  ASSERT_TRUE(capture.open("/dev/full"));
  EXPECT_FALSE(capture.close());
}

}  // namespace
}  // namespace lab
