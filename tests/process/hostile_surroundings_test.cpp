// The real binary while commands hang, signals rain, and the disk is full.
#include <sys/resource.h>

#include <atomic>

#include "process/process_fixture.h"

namespace {

const air::Mac OTHER = {0x02, 0, 0, 0, 0, 0x0b};

air::Bytes probe_from(const air::Mac& station) {
  return air::event(44, station, air::probe_data(air::element(2)));
}

// Where the kernel follows links in /tmp, what a user has planted at the fixed names gets and stops
// nothing.
TEST_F(ProcessTest, ALocalUsersPlantsAreNotFollowed) {
  const std::string names =
      "vorlent_dbg.log escanresults_log rsa_pri.pem rsa_pub.pem vexo_onborading.json";
  write_file("/tmp/theirs", "theirs");
  for (const std::string plant : {"ln -s theirs", "mkfifo", "ln theirs"}) {
    const auto in_tmp = [](const std::string& command) {
      return system(("cd /tmp; " + command).c_str());
    };
    in_tmp(std::string("rm -f commands vexo_nvram ")
               .append(names)
               .append("; for name in ")
               .append(names)
               .append("; do ")
               .append(plant)
               .append(" $name; done"));
    nvram("set blank_state=1");
    start("0");
    await("/tmp/commands", "wl escanresults");
    send_event(air::event(69, air::BASE, air::scan_data({.elements = air::element(1)})));
    await("/tmp/commands", "0409027e911000");
    nvram("set wan_status=up");
    await("/tmp/vexo_nvram", "onboarding_role=2");
    send_event(probe_from(OTHER));
    await("/tmp/vorlent_dbg.log", "\"candidates\"");
    EXPECT_TRUE(comes_true([&] {  // the list comes into its file after the line
      return in_tmp("test $(find " + names + " -type f -links 1 2>/dev/null | wc -l) = 5") == 0;
    })) << plant;
    EXPECT_EQ(read_file("/tmp/theirs"), "theirs") << plant;
    kill(daemon_, SIGKILL);
    end();
  }
}

TEST_F(ProcessTest, NothingIsLostInSilenceWhereNothingCanBeWritten) {
  const auto in_log = [](const std::string& text) {
    return lines_with("/tmp/vorlent_dbg.log", text);
  };
  nvram("set blank_state=1 && nvram set mesh_role_manual=uncfg");
  for (const char* in_the_way : {"/tmp/vexo_nvram.tmp", "/tmp/vexo_nvram.saved.tmp"}) {
    std::filesystem::create_directory(in_the_way);
  }
  ASSERT_EQ(launch(), 0);
  ASSERT_TRUE(comes_true([&] { return find_daemon() > 0; }));
  for (int turn = 0; turn < 9; ++turn) {
    send_event({0});
  }
  ASSERT_TRUE(comes_true([&] { return in_log("Unknown recved ether type") == 9; }));
  EXPECT_EQ(in_log("NVRAM is not written: unset mesh_role_manual: Is a directory\n"), 1U);
  EXPECT_EQ(in_log("NVRAM is not written: set onboarding_role: Is a directory\n"), 1U);
  EXPECT_EQ(in_log("restore"), 0U);
  std::filesystem::remove("/tmp/vexo_nvram.tmp");
  auto looked = std::chrono::steady_clock::now(), before = looked;
  ASSERT_TRUE(comes_true([&] {
    before = std::exchange(looked, std::chrono::steady_clock::now());
    return in_log("NVRAM is not written: save: ") > 0;
  }));
  EXPECT_EQ(lines_with("/tmp/commands", "vexo_service"), 0U);
  std::filesystem::remove("/tmp/vexo_nvram.saved.tmp");
  await("/tmp/commands", "vexo_service restart");
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(1)) << "too soon";
  EXPECT_THAT(read_file("/tmp/vexo_nvram.saved"),
              testing::AllOf(testing::HasSubstr("restart_all_processes=1\n"),
                             testing::HasSubstr("onboarding_role=0\n")))
      << "the second was refused at the start";
}

TEST_F(ProcessTest, AWindowsRequestThatCannotBeTakenBackIsServedOnce) {
  base_nvram();
  nvram("set onboarding_soap_active=1");
  std::filesystem::create_directory("/tmp/vexo_nvram.tmp");
  ASSERT_EQ(launch(), 0);
  ASSERT_TRUE(comes_true([&] { return find_daemon() > 0; }));
  for (int turn = 0; turn < 9; ++turn) {
    send_event({0});
  }
  await("/tmp/commands", "wl add_ie 3");
  ASSERT_TRUE(comes_true(
      [] { return lines_with("/tmp/vorlent_dbg.log", "Unknown recved ether type") == 9; }));
  EXPECT_EQ(lines_with("/tmp/commands", "wl add_ie 3"), 1U);
  std::filesystem::remove("/tmp/vexo_nvram.tmp");
  await("/tmp/vexo_nvram", "onboarding_active_state=2\n");
  await("/tmp/vexo_nvram", "onboarding_soap_active=0\n");
  EXPECT_EQ(lines_with("/tmp/commands", "wl del_ie 3"), 0U);
  nvram("set onboarding_soap_active=1");
  EXPECT_TRUE(comes_true([] { return lines_with("/tmp/commands", "wl add_ie 3") == 2; }));
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
