// Frames, scan results, captures and NVRAM files: written, read back, and cut short. That a capture
// is right as a whole, tshark says of those of the scenarios; the rest of the driver events, the
// daemon that reads them.
#include <gmock/gmock.h>

#include "driver_event.h"
#include "frames.h"
#include "nvram_file.h"
#include "pcapng.h"

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

TEST(Frames, AreReadAsTheyWereBuilt) {
  const Bytes beacon =
      build_bss_frame(FrameKind::beacon, kBroadcast, kBase, 5, "home", 6, kElement);
  const Frame frame = parse_frame(beacon).value();
  EXPECT_EQ(frame.kind, FrameKind::beacon);
  EXPECT_TRUE(frame.from == kBase && frame.bssid == kBase);
  EXPECT_THAT(elements_of(frame).last(13), ElementsAreArray(kElement));
  const Bytes probe = build_probe_request(kUnit, 9, kElement);
  EXPECT_EQ(parse_frame(probe)->kind, FrameKind::probe_request);
  EXPECT_THAT(slice(probe, probe.size() - 13), ElementsAreArray(kElement));
  for (std::size_t length = 0; length < 24; ++length) {
    EXPECT_FALSE(parse_frame(View(beacon).first(length))) << "cut within its header: " << length;
  }
}

TEST(Frames, AnOperationIsFourHexadecimalDigits) {
  const auto operation = [](const char* body) {
    const Bytes frame = build_action(kBase, kUnit, kBase, 1, *parse_hex(body));
    return operation_of(*parse_frame(frame));
  };
  EXPECT_EQ(operation("0409027e911000000d"), 1000);
  EXPECT_EQ(operation("0409027e911004"), 1004);
  EXPECT_EQ(operation("0409027e911005"), 0);
  EXPECT_EQ(operation("0409027e921000"), 0) << "another maker's";
  EXPECT_EQ(operation("0409027e9110"), 0) << "cut";
}

TEST(DriverEvents, AScanResultLeadsToItsElements) {
  const Bytes data = scan_data(kBase, "home", 36, kElement);
  const View record = slice(data, 12);
  EXPECT_THAT(slice(record, 8, 6), ElementsAreArray(kBase));
  EXPECT_EQ(le16(record, 72).value_or(0) & 0xff, 36U);
  EXPECT_EQ(le16(record, 120), kElement.size());
  EXPECT_THAT(slice(record, le16(record, 116).value_or(0)), ElementsAreArray(kElement));
  EXPECT_EQ(scan_done_data().size(), 12U) << "a completion carries no record";
  const Bytes probe = build_probe_request(kUnit, 1, kElement);
  EXPECT_THAT(slice(probe_data(6, probe), 16), ElementsAreArray(probe));
}

TEST(Nvram, ComesBackWholeOrIsKnownToBeCut) {
  const Settings settings{
      {"a", ""}, {"b", "x=y"}, {"c", "line\nback\\slash\\n"}, {"lab_unit", "u"}};
  const std::string whole = format_nvram(settings);
  EXPECT_EQ(parse_nvram(whole), settings);
  EXPECT_TRUE(is_whole(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(is_whole(whole.substr(0, length))) << length;
  }
}

TEST(Nvram, ChangesAreLiveAndSurviveOnlyWhenSaved) {
  const std::string path = "/tmp/store";
  ASSERT_TRUE(change_nvram(path, {{"a", "1"}, {"b", "2"}}) && save_nvram(path));
  ASSERT_TRUE(change_nvram(path, {{"a", "3"}, {"b", std::nullopt}}));
  EXPECT_EQ(read_file(path), "a=3\n");
  EXPECT_EQ(read_file(path + ".saved"), "a=1\nb=2\n");
  EXPECT_FALSE(read_file("/tmp")) << "a folder";
}

TEST(Capture, AFullDiskIsNoticed) {
  Pcapng capture;
  ASSERT_TRUE(capture.open("/dev/full"));
  EXPECT_FALSE(capture.close());
}

}  // namespace
}  // namespace lab
