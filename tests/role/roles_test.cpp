// Modes where a transcript would be a table, and what no life of the daemon leads to.
#include <filesystem>

#include "core/event_socket.h"
#include "core/mode_table.h"
#include "role/role_change.h"
#include "role/role_monitor.h"
#include "role/search.h"
#include "support/daemon_test.h"

namespace {

class RolesTest : public DaemonTest {};

TEST_F(RolesTest, EveryChangeReplacesTheModesTimer) {
  const int before = open_descriptors();
  for (const auto mode :
       {ONBOARD_MODE_UNCFG_ACT_HANDSHAKE, ONBOARD_MODE_UNCONFIGURED, ONBOARD_MODE_TEMP_SATELLITE,
        ONBOARD_MODE_TEMP_ETH_SATELLITE, ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_BASE,
        ONBOARD_MODE_UNCFG_ACT_HANDSHAKE, ONBOARD_MODE_SATELLITE}) {
    context.target_role = mode;
    role_bakery();
    EXPECT_EQ(context.cur_mode, mode);
    EXPECT_EQ(open_descriptors(), before + (mode == ONBOARD_MODE_SATELLITE ? 0 : 1)) << mode;
  }
  EXPECT_EQ(mode_timer_fd, 0);
  EXPECT_EQ(context.act_timer_fd, 0);
}

TEST_F(RolesTest, ARequestByHandIsNotServedBeforeItIsTakenBack) {
  for (const char* request : {"base", "uncfg"}) {
    platform().nvram["mesh_role_manual"] = request;
    for (const bool stays : {true, false}) {
      platform().fails = [=](const std::string& call) { return stays && call == "unset"; };
      forget();
      dut_role_monitor();
      EXPECT_EQ(platform().journal.empty(), stays) << request;
    }
  }
}

TEST_F(RolesTest, NoScanIsRunWhoseResultsHaveNoPlace) {
  std::filesystem::remove("/tmp/escanresults_log");  // another test's
  std::filesystem::create_directory("/tmp/escanresults_log");
  EXPECT_EQ(vorlent_ie_scan() + vorlent_ie_scan(), -2);
  const std::string begin =
      "==========================================\nSearching Mesh onboarding ...\n\n";
  EXPECT_EQ(messages(),
            begin + "no scan: /tmp/escanresults_log cannot be made: Is a directory\n" + begin);
  EXPECT_TRUE(platform().journal.empty());
  std::filesystem::remove("/tmp/escanresults_log");
}

TEST_F(RolesTest, AModeOutsideTheTableIsNamedAndOtherwiseIgnored) {
  context.cur_mode = static_cast<OnboardMode>(ONBOARD_MODE_COUNT);
  dut_role_monitor();
  enter_cur_mode();
  EXPECT_EQ(receives(air::event(7, air::UNIT, {})), -1);
  clear_timer();
  EXPECT_EQ(messages(),
            "Unknown mode detected: 7\nUnknown mode: 7\ncheck alive timers.\nNo alive timer: 7\n");
  EXPECT_THAT(platform().log, testing::HasSubstr("\n[event_recvr]["));
  EXPECT_TRUE(platform().journal.empty());
  EXPECT_EQ(mode_row(static_cast<OnboardMode>(0xFFFFFFFFU)), nullptr);
}

}  // namespace
