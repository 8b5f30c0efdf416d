// The real binary while commands hang, signals rain, and the disk is full.
#include <sys/resource.h>

#include <atomic>

#include "process/process_fixture.h"

namespace {

const air::Mac OTHER = {0x02, 0, 0, 0, 0, 0x0b};

air::Bytes probe_from(const air::Mac& station) {
  return air::event(44, station, air::probe_data(air::element(2)));
}

TEST_F(ProcessTest, WhatComesWhileACommandHangsIsServedAfterwards) {
  base_nvram();
  start("5");
  await("/tmp/commands", "wl del_ie");
  provide("wl", "mkdir -p /tmp/hangs; sleep 2; echo \"$*\" | cut -c 1-41 >> /tmp/slow");
  send_event(probe_from(air::UNIT));
  send_event(air::event(59, air::UNIT, air::action_frame(0x1000, air::element(2))));
  ASSERT_TRUE(comes_true([] { return access("/tmp/hangs", F_OK) == 0; }));
  kill(daemon_, SIGUSR2);
  send_event(probe_from(OTHER));
  await("/tmp/vorlent_dbg.log", "STA: 02:00:00:00:00:0b");
  const std::string to_unit = "actframe " + air::UNIT_TEXT + " 0409027e91";
  EXPECT_EQ(read_file("/tmp/slow"), to_unit + "1001\n" + to_unit + "1004\n");
}

TEST_F(ProcessTest, AHandshakeComesToItsEndUnderAThousandSignalsASecond) {
  nvram("set blank_state=1");
  start("0");
  std::atomic<bool> over = false;
  std::thread rain([&] {
    for (int i = 0; !over; ++i) {
      kill(daemon_, i % 2 == 0 ? SIGUSR1 : SIGUSR2);
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  });
  send_event(air::event(69, air::BASE, air::scan_data({.elements = air::element(1)})));
  await("/tmp/commands", "0409027e911000");
  send_event(air::event(59, air::BASE, air::action_frame(0x1003, {})));
  await("/tmp/commands", "vexo_service restart");
  over = true;
  rain.join();
  EXPECT_EQ(end(), 0);
  EXPECT_THAT(read_file("/tmp/vexo_nvram.saved"), testing::HasSubstr("onboarding_role=3\n"));
}

TEST_F(ProcessTest, AFullDiskLosesNothingButWhatWasWrittenMeanwhile) {
  const auto room_for_files = [&](rlim_t bytes) {
    const rlimit limit{.rlim_cur = bytes, .rlim_max = RLIM_INFINITY};
    ASSERT_EQ(prlimit(daemon_, RLIMIT_FSIZE, &limit, nullptr), 0);
  };
  prepare_output_ = [] {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    (void)signal(SIGXFSZ, SIG_IGN);  // a write over the limit fails, as on a full disk
  };
  provide("wl", "mkdir \"/tmp/$1-$2\"");
  base_nvram();
  start("5");
  send_event(probe_from(air::UNIT));
  await("/tmp/vorlent_dbg.log", "STA: " + air::UNIT_TEXT);
  room_for_files(0);
  nvram("set onboarding_soap_active=1");
  EXPECT_TRUE(comes_true([] { return access("/tmp/add_ie-3", F_OK) == 0; }));
  send_event(air::event(59, air::UNIT, air::action_frame(0x1000, air::element(2))));
  EXPECT_TRUE(comes_true([] { return access("/tmp/actframe-02:00:00:00:00:0a", F_OK) == 0; }));
  EXPECT_THAT(read_file("/tmp/vexo_nvram"), testing::HasSubstr("enable_mesh_mode=1\n"));
  room_for_files(RLIM_INFINITY);
  send_event(probe_from(OTHER));
  await("/tmp/vorlent_dbg.log", "STA: 02:00:00:00:00:0b");
  EXPECT_THAT(read_file("/tmp/vexo_onborading.json"), testing::EndsWith("]\n}"));
  EXPECT_TRUE(
      comes_true([] { return lines_with("/tmp/vexo_nvram", "onboarding_active_state=2\n") == 1; }));
}

}  // namespace
