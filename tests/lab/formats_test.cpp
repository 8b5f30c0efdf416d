// Frames, driver events, captures and NVRAM files: written, read back, and cut short.
#include <gmock/gmock.h>

#include <cstdlib>

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
  for (const char* wrong : {"", "02:ba:5e:00:00", "02:ba:5e:00:00:0g", "02-ba-5e-00-00-01"}) {
    EXPECT_FALSE(parse_mac(wrong)) << wrong;
  }
  EXPECT_FALSE(parse_hex("0"));
  EXPECT_FALSE(parse_hex("zz"));
}

TEST(Frames, AreReadAsTheyWereBuilt) {
  const Bytes beacon =
      build_bss_frame(FrameKind::beacon, kBroadcast, kBase, 5, "home", 6, kElement);
  const auto frame = parse_frame(beacon);
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->kind, FrameKind::beacon);
  EXPECT_EQ(frame->from, kBase);
  EXPECT_EQ(frame->bssid, kBase);
  const View elements = elements_of(*frame);
  ASSERT_GE(elements.size(), kElement.size());
  EXPECT_THAT(elements.last(kElement.size()), ElementsAreArray(kElement));

  const Bytes probe = build_probe_request(kUnit, 9, kElement);
  EXPECT_EQ(parse_frame(probe)->kind, FrameKind::probe_request);
  EXPECT_THAT(slice(probe, probe.size() - 13), ElementsAreArray(kElement));
}

TEST(Frames, CutAnywhereBeforeTheBodyTheyAreNone) {
  const Bytes whole = build_action(kBase, kUnit, kBase, 1, Bytes{4, 9});
  for (std::size_t length = 0; length < 24; ++length) {
    EXPECT_FALSE(parse_frame(View(whole).first(length))) << length;
  }
  EXPECT_TRUE(parse_frame(View(whole).first(24)));
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

TEST(Frames, RadiotapNamesTheFrequency) {
  EXPECT_EQ(le16(radiotap(6), 8), 2437U);
  EXPECT_EQ(le16(radiotap(36), 8), 5180U);
}

TEST(DriverEvents, StandWhereTheDaemonLooks) {
  const Bytes event =
      driver_event(EventType::action_frame, 0, kBase, kUnit, *parse_hex("0409027e911000"));
  EXPECT_EQ(event.size(), 88U + 7U);
  EXPECT_EQ(be16(event, 28), 0x886cU);
  EXPECT_EQ(be16(event, 30), 0x8001U);
  EXPECT_EQ(be16(event, 38), 1U);
  EXPECT_EQ(be16(event, 46), 59U);
  EXPECT_EQ(be16(event, 62), 7U);
  EXPECT_THAT(slice(event, 64, 6), ElementsAreArray(kUnit));
  EXPECT_STREQ(reinterpret_cast<const char*>(event.data()), "wl0");
}

TEST(DriverEvents, AScanResultLeadsToItsElements) {
  const Bytes data = scan_data(kBase, "home", 36, kElement);
  const View record = slice(data, 12);
  EXPECT_THAT(slice(record, 8, 6), ElementsAreArray(kBase));
  EXPECT_EQ(le16(record, 72).value_or(0) & 0xff, 36U);
  const std::size_t at = le16(record, 116).value_or(0);
  EXPECT_EQ(le16(record, 120), kElement.size());
  EXPECT_THAT(slice(record, at), ElementsAreArray(kElement));
  EXPECT_EQ(scan_done_data().size(), 12U) << "a completion carries no record";
  const Bytes probe = build_probe_request(kUnit, 1, kElement);
  EXPECT_THAT(slice(probe_data(6, probe), 16), ElementsAreArray(probe));
}

TEST(Nvram, ValuesComeBackWhateverIsInThem) {
  const Settings settings{
      {"a", ""}, {"b", "x=y"}, {"c", "line\nback\\slash\\n"}, {"lab_unit", "u"}};
  EXPECT_EQ(parse_nvram(format_nvram(settings)), settings);
}

TEST(Nvram, AFileThatWasCutIsNotWhole) {
  const std::string whole = "a=1\nlab_unit=unit-1\n";
  EXPECT_TRUE(is_whole(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(is_whole(whole.substr(0, length))) << length;
  }
}

TEST(Nvram, ChangesAreLiveAndSurviveOnlyWhenSaved) {
  const std::string path = "/tmp/store";
  ASSERT_TRUE(change_nvram(path, {{"a", "1"}, {"b", "2"}}));
  ASSERT_TRUE(save_nvram(path));
  ASSERT_TRUE(change_nvram(path, {{"a", "3"}, {"b", std::nullopt}}));
  EXPECT_EQ(read_file(path), "a=3\n");
  EXPECT_EQ(read_file(path + ".saved"), "a=1\nb=2\n");
}

TEST(Capture, BlocksAreAlignedAndSayTheirLengthTwice) {
  Pcapng capture;
  ASSERT_TRUE(capture.open("/tmp/capture"));
  capture.add_interface(kLinkRadiotap, "air", "frames");
  capture.packet(0, 1'000'000'001, Bytes{1, 2, 3}, "LOST");
  ASSERT_TRUE(capture.close());
  const auto text = read_file("/tmp/capture");
  ASSERT_TRUE(text);
  const Bytes file(text->begin(), text->end());
  std::vector<unsigned> types;
  for (std::size_t at = 0; at < file.size();) {
    const std::size_t length = le16(file, at + 4).value_or(0);
    ASSERT_GE(length, 12U);
    EXPECT_EQ(length % 4, 0U);
    EXPECT_EQ(le16(file, at + length - 4), length);
    types.push_back(le16(file, at).value_or(0));
    at += length;
  }
  EXPECT_THAT(types, ::testing::ElementsAre(0x0d0aU, 1U, 6U));
  EXPECT_NE(text->find("LOST"), std::string::npos);
}

TEST(Capture, AFullDiskIsNoticed) {
  Pcapng capture;
  ASSERT_TRUE(capture.open("/dev/full"));
  EXPECT_FALSE(capture.close());
}

}  // namespace
}  // namespace lab
