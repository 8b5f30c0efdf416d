// Modes: how the unit starts, what it enters, when it changes, and what it writes into NVRAM.
#include <gtest/gtest.h>

#include "core/mode_table.h"
#include "core/timer_list.h"
#include "role/configuration.h"
#include "role/mode_entry.h"
#include "role/role_monitor.h"
#include "support/daemon_test.h"

namespace {

using testing::HasSubstr;
using Settings = std::map<std::string, std::string>;
using Journal = std::vector<std::string>;

const Journal UNCFG_DEFAULTS = {"set multiap_mode=2",     "set bh_map=0",
                                "set wl1_map=4",          "set wl1_mode=sta",
                                "set router_disable=0",   "set map_onboarded=0",
                                "set enable_mesh_mode=1", "unset mesh_role",
                                "unset repeater_mode",    "set restart_all_processes=1",
                                "reset_to_uncfg_mode"};
const Journal BASE_CONFIG = {"set multiap_mode=3", "set bh_map=2", "set wl1_map=1",
                             "set wl1_mode=ap", "save"};
const Journal ENTER_UNCONFIGURED = {
    "set onboarding_role=0", "$ wl add_ie 16 11 02:7E:91 0000000308020101", "set sat_onboarding=1",
    "$ wl escanresults > /tmp/escanresults_log"};
const Journal ENTER_TEMP_ROUTER = {"set onboarding_role=2",
                                   "$ wl del_ie 16 11 02:7E:91 0000000308020101",
                                   "$ cat /tmp/rsa_pri.pem", "$ cat /tmp/rsa_pub.pem"};
const Journal ENTER_BASE = {"set onboarding_role=5", "$ wl del_ie 16 11 02:7E:91 0000000308020101",
                            "$ cat /tmp/rsa_pri.pem", "$ cat /tmp/rsa_pub.pem"};
const Journal SATELLITE_ROLE = {"set mesh_role=satallite", "set repeater_mode=1",
                                "set enable_mesh_mode=2"};

Journal joined(std::initializer_list<Journal> parts) {
  Journal all;
  for (const Journal& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

class RolesTest : public DaemonTest {
 protected:
  // One pass of the monitor over these settings, in `mode`. Returns what it did.
  static Journal monitor(OnboardMode mode, const Settings& nvram) {
    starts_in(mode);
    platform().nvram = nvram;
    dut_role_monitor();
    return platform().journal;
  }

  static OnboardMode loads(const Settings& nvram) {
    reset_context();
    platform().nvram = nvram;
    load_cur_mode();
    EXPECT_EQ(context.target_role, context.cur_mode);
    return context.cur_mode;
  }
};

TEST_F(RolesTest, StartsInTheModeThatNvramNames) {
  struct Case {
    Settings nvram;
    OnboardMode mode;
    const char* message;
  };
  const Settings satellite = {
      {"multiap_mode", "2"}, {"enable_mesh_mode", "2"}, {"mesh_role", "satallite"}};
  const Settings base = {{"multiap_mode", "3"}, {"enable_mesh_mode", "1"}, {"blank_state", "0"}};
  const Case cases[] = {
      {{{"blank_state", "1"}, {"onboarding_role", "2"}},
       ONBOARD_MODE_TEMP_ROUTER,
       "Temp Router mode detected...\n"},
      {{{"blank_state", "1"}, {"onboarding_role", "3"}},
       ONBOARD_MODE_TEMP_SATELLITE,
       "Temp Satellite mode detected...\n"},
      {{{"blank_state", "1"}, {"onboarding_role", "4"}},
       ONBOARD_MODE_TEMP_ETH_SATELLITE,
       "Temp Satellite mode detected...\n"},
      {{{"blank_state", "1"}, {"onboarding_role", "5"}},
       ONBOARD_MODE_UNCONFIGURED,
       "Default un-configured mode.\n"},
      {{{"blank_state", "1"},
        {"onboarding_role", "1"},
        {"multiap_mode", "3"},
        {"enable_mesh_mode", "1"}},
       ONBOARD_MODE_UNCONFIGURED,
       "Default un-configured mode.\n"},
      {satellite, ONBOARD_MODE_SATELLITE, "Satellite detected...\n"},
      {base, ONBOARD_MODE_BASE, "Base detected...\n"},
      {{{"multiap_mode", "2"}, {"enable_mesh_mode", "2"}, {"mesh_role", "satellite"}},
       ONBOARD_MODE_UNCONFIGURED,
       ""},
      {{{"multiap_mode", "2"}, {"enable_mesh_mode", "1"}, {"mesh_role", "satallite"}},
       ONBOARD_MODE_UNCONFIGURED,
       ""},
      {{{"multiap_mode", "3"}, {"enable_mesh_mode", "2"}}, ONBOARD_MODE_UNCONFIGURED, ""},
      {{{"multiap_mode", "2"}, {"enable_mesh_mode", "1"}}, ONBOARD_MODE_UNCONFIGURED, ""},
      {{}, ONBOARD_MODE_UNCONFIGURED, ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(loads(c.nvram), c.mode);
    EXPECT_EQ(messages(), c.message);
    forget();
  }
}

TEST_F(RolesTest, EachEntryWritesItsDigitAndDoesWhatItsModeNeeds) {
  const Journal temp_sat = {"$ wl del_ie 16 11 02:7E:91 0000000308020101"};
  const std::pair<OnboardMode, Journal> cases[] = {
      {ONBOARD_MODE_UNCONFIGURED, ENTER_UNCONFIGURED},
      {ONBOARD_MODE_TEMP_ROUTER, ENTER_TEMP_ROUTER},
      {ONBOARD_MODE_TEMP_SATELLITE, joined({{"set onboarding_role=3"}, temp_sat})},
      {ONBOARD_MODE_TEMP_ETH_SATELLITE, joined({{"set onboarding_role=4"}, temp_sat})},
      {ONBOARD_MODE_BASE, ENTER_BASE},
      {ONBOARD_MODE_SATELLITE, {"set onboarding_role=6"}},
      {static_cast<OnboardMode>(7), {}},
  };
  for (const auto& [mode, journal] : cases) {
    context.cur_mode = mode;
    enter_cur_mode();
    EXPECT_EQ(platform().journal, journal) << mode;
    forget();
  }
}

TEST_F(RolesTest, EntriesLogTheirCommandAndStartTheirTimer) {
  context.cur_mode = ONBOARD_MODE_UNCONFIGURED;
  enter_cur_mode();
  EXPECT_EQ(messages(),
            "wl add_ie 16 11 02:7E:91 0000000308020101==========================================\n"
            "Searching Mesh onboarding ...\n\n");
  EXPECT_THAT(printed(), HasSubstr("timeout in 5 secs, retry interval: 5 \n"));
  forget();
  for (const auto mode : {ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_TEMP_SATELLITE}) {
    context.cur_mode = mode;
    enter_cur_mode();
    EXPECT_EQ(messages(), "wl del_ie 16 11 02:7E:91 0000000308020101\n");
    EXPECT_THAT(printed(), HasSubstr("timeout in 20 secs, retry interval: 15 \n"));
    EXPECT_GT(mode_timer_fd, 0);
    forget();
  }
}

TEST_F(RolesTest, TheSearchScans361TimesInHalfAnHourAndThenStops) {
  context.cur_mode = ONBOARD_MODE_UNCONFIGURED;
  enter_cur_mode();
  const int timer = mode_timer_fd;
  pass(4);
  EXPECT_EQ(count_commands("wl escanresults"), 1);
  pass(1);
  EXPECT_EQ(count_commands("wl escanresults"), 2);
  pass(1799);
  EXPECT_EQ(count_commands("wl escanresults"), 361);
  EXPECT_EQ(platform().nvram["sat_onboarding"], "1");
  pass(1);
  EXPECT_EQ(platform().nvram["sat_onboarding"], "0");
  EXPECT_THAT(messages(), testing::EndsWith("Disable mesh scan after 30 minutes Wi-Fi search.\n"));
  pass(100);
  EXPECT_EQ(count_commands("wl escanresults"), 361);
  EXPECT_EQ(count_commands("wl del_ie"), 0);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
  // The number may be another timer's when the mode is left: that one must live on.
  TimerEntry other{};
  other.timeout = 50;
  ASSERT_EQ(add_timer(epoll_fd, other), timer);
  printed();
  context.target_role = ONBOARD_MODE_SATELLITE;
  role_bakery();
  EXPECT_THAT(printed(), testing::Not(HasSubstr("del timerfd")));
}

TEST_F(RolesTest, TheUnconfiguredUnitFollowsNvramInItsOrder) {
  const Settings ethernet = {
      {"map_agent_configured", "1"}, {"multiap_mode", "2"}, {"enable_mesh_mode", "1"}};
  Settings wireless = ethernet;
  wireless["enable_mesh_mode"] = "2";
  for (const auto mode : {ONBOARD_MODE_UNCONFIGURED, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE}) {
    Settings all = ethernet;
    all.insert({{"blank_state", "0"}, {"wan_status", "up"}});
    EXPECT_EQ(monitor(mode, all),
              joined({ENTER_BASE,
                      {"set vorlent_force_apply=1"},
                      BASE_CONFIG,
                      {"unset vorlent_force_apply", "save", "$ nvram restart"}}));
    EXPECT_THAT(messages(), testing::StartsWith("Leave blank_state without full installation...\n"
                                                "target_role:cur_role >> (5:"));
    EXPECT_THAT(messages(), testing::EndsWith("Apply Base configuration.\n"));
    EXPECT_EQ(context.need_restart, 0U);

    all["blank_state"] = "1";
    const Journal eth = monitor(mode, all);
    EXPECT_EQ(Journal(eth.end() - 3, eth.end()), SATELLITE_ROLE);
    EXPECT_EQ(eth[0], "set onboarding_role=4");
    EXPECT_EQ(eth.size(), 5U);
    EXPECT_THAT(messages(), testing::StartsWith("Ethernet satellite detected...\n"));
    EXPECT_THAT(messages(),
                testing::EndsWith("Ethernet BH established!, go to apply zorv nvram. \n"));
    EXPECT_EQ(context.need_restart, 1U);

    wireless["wan_status"] = "up";
    const Journal sat = monitor(mode, wireless);
    EXPECT_EQ(sat[0], "set onboarding_role=3");
    EXPECT_EQ(sat.back(), "set restart_all_processes=1");
    EXPECT_THAT(messages(), testing::StartsWith("Temp satellite detected...\n"));
    EXPECT_THAT(messages(), testing::EndsWith("Apply satellite configuration.\n"));

    context.need_restart = 0;
    EXPECT_EQ(monitor(mode, {{"wan_status", "up"}, {"blank_state", "1"}}),
              joined({ENTER_TEMP_ROUTER, BASE_CONFIG}));
    EXPECT_EQ(context.need_restart, 0U);
    EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_ROUTER);
  }
  for (const Settings& nothing :
       {Settings{{"wan_status", "down"}}, Settings{{"map_agent_configured", "1"}},
        Settings{{"map_agent_configured", "0"}, {"multiap_mode", "2"}, {"enable_mesh_mode", "1"}},
        Settings{{"map_agent_configured", "1"}, {"multiap_mode", "3"}, {"enable_mesh_mode", "2"}},
        Settings{
            {"map_agent_configured", "1"}, {"multiap_mode", "2"}, {"enable_mesh_mode", "3"}}}) {
    EXPECT_EQ(monitor(ONBOARD_MODE_UNCONFIGURED, nothing), Journal{});
  }
}

TEST_F(RolesTest, TheTemporaryRouterBecomesABaseOrFallsBack) {
  const Journal to_base =
      monitor(ONBOARD_MODE_TEMP_ROUTER, {{"blank_state", "0"}, {"multiap_mode", "3"}});
  EXPECT_EQ(to_base, ENTER_BASE);  // it is configured already
  EXPECT_EQ(monitor(ONBOARD_MODE_TEMP_ROUTER, {{"blank_state", "0"}}), Journal{});
  EXPECT_EQ(monitor(ONBOARD_MODE_TEMP_ROUTER, {{"multiap_mode", "3"}}), Journal{});
  context.wan_fail_count = 9;
  EXPECT_EQ(monitor(ONBOARD_MODE_TEMP_ROUTER, {}), Journal{});
  context.wan_fail_count = 10;
  EXPECT_EQ(monitor(ONBOARD_MODE_TEMP_ROUTER, {}), joined({ENTER_UNCONFIGURED, UNCFG_DEFAULTS}));
  EXPECT_THAT(messages(), testing::EndsWith("Restore to un-configured mode.\n"
                                            "restore to Unconfigured mode.\n"));
  EXPECT_EQ(context.need_restart, 1U);
}

TEST_F(RolesTest, TheTemporarySatelliteIsInstalledOrFallsBack) {
  for (const auto mode : {ONBOARD_MODE_TEMP_SATELLITE, ONBOARD_MODE_TEMP_ETH_SATELLITE}) {
    context.need_restart = 0;
    context.bh_fail_count = 10;
    EXPECT_EQ(monitor(mode, {{"blank_state", "0"}, {"multiap_mode", "2"}}),
              Journal{"set onboarding_role=6"});
    EXPECT_EQ(context.need_restart, 0U);
    context.bh_fail_count = 9;
    EXPECT_EQ(monitor(mode, {{"blank_state", "0"}}), Journal{});
    EXPECT_EQ(monitor(mode, {{"multiap_mode", "2"}}), Journal{});
    context.bh_fail_count = 10;
    EXPECT_EQ(monitor(mode, {}), joined({ENTER_UNCONFIGURED, UNCFG_DEFAULTS}));
    EXPECT_EQ(context.need_restart, 1U);
  }
}

TEST_F(RolesTest, WatchdogsCountFailuresAndOnlyASuccessClearsThem) {
  starts_in(ONBOARD_MODE_TEMP_ROUTER);
  pass(19);
  EXPECT_EQ(context.wan_fail_count, 0U);
  pass(1);
  EXPECT_EQ(context.wan_fail_count, 1U);
  EXPECT_EQ(messages(), "Internet disconnected... \n");
  pass(8 * 15);
  EXPECT_EQ(context.wan_fail_count, 9U);
  platform().nvram["wan_status"] = "up";
  pass(15);
  EXPECT_EQ(context.wan_fail_count, 0U);
  platform().nvram["wan_status"] = "UP";
  pass(9 * 15);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_ROUTER);
  pass(15 + 1);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);

  context.need_restart = 0;
  starts_in(ONBOARD_MODE_TEMP_SATELLITE);
  pass(20 + 9 * 15);
  EXPECT_EQ(context.bh_fail_count, 10U);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_SATELLITE);
  EXPECT_THAT(messages(), testing::StartsWith("BH disconnected... \n"));
  pass(1);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
  starts_in(ONBOARD_MODE_TEMP_SATELLITE);
  context.bh_fail_count = 5;
  platform().nvram["map_agent_configured"] = "1";
  pass(20);
  EXPECT_EQ(context.bh_fail_count, 0U);
}

TEST_F(RolesTest, AManualRequestComesFirstAndIsConsumed) {
  Settings request = {{"mesh_role_manual", "base"}, {"blank_state", "0"}, {"multiap_mode", "3"}};
  EXPECT_EQ(monitor(ONBOARD_MODE_SATELLITE, request),
            joined({{"unset mesh_role_manual"}, ENTER_TEMP_ROUTER, BASE_CONFIG}));
  EXPECT_THAT(messages(), testing::StartsWith("Change to base mode manually.\n"
                                              "target_role:cur_role >> (2:6)\n"
                                              "check alive timers.\nNo alive timer: 6\n"));
  EXPECT_EQ(monitor(ONBOARD_MODE_TEMP_ROUTER, request), Journal{"unset mesh_role_manual"});
  EXPECT_EQ(messages(), "Change to base mode manually.\ntarget_role:cur_role >> (2:2)\n");

  request["mesh_role_manual"] = "uncfg";
  EXPECT_EQ(monitor(ONBOARD_MODE_SATELLITE, request),
            joined({{"unset mesh_role_manual"}, UNCFG_DEFAULTS}));
  EXPECT_EQ(messages(), "restore to Unconfigured mode.\nrestore to Unconfigured mode.\n");
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_SATELLITE);
  EXPECT_EQ(context.need_restart, 1U);
  EXPECT_EQ(monitor(ONBOARD_MODE_SATELLITE, {{"mesh_role_manual", "other"}}), Journal{});
}

TEST_F(RolesTest, LeavingABaseLeavesOneInternetWatchdog) {
  starts_in(ONBOARD_MODE_BASE);
  platform().nvram = {{"mesh_role_manual", "base"}};
  pass(1);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_ROUTER);
  EXPECT_THAT(messages(), HasSubstr("No alive timer: 5\n"));
  pass(20 + 2 * 15);
  EXPECT_EQ(context.wan_fail_count, 3U);
}

TEST_F(RolesTest, EveryChangeReplacesTheModesTimer) {
  const int before = open_descriptors();
  for (const auto mode :
       {ONBOARD_MODE_UNCFG_ACT_HANDSHAKE, ONBOARD_MODE_UNCONFIGURED, ONBOARD_MODE_TEMP_SATELLITE,
        ONBOARD_MODE_TEMP_ETH_SATELLITE, ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_BASE,
        ONBOARD_MODE_UNCFG_ACT_HANDSHAKE, ONBOARD_MODE_SATELLITE}) {
    context.target_role = mode;
    role_bakery();
    EXPECT_EQ(context.cur_mode, mode);
    const bool timed = mode != ONBOARD_MODE_SATELLITE;
    EXPECT_EQ(open_descriptors(), before + (timed ? 1 : 0)) << mode;
  }
  EXPECT_EQ(mode_timer_fd, 0);
  EXPECT_EQ(context.act_timer_fd, 0);
}

TEST_F(RolesTest, ATimerThatTheSystemRefusesIsAskedForAgain) {
  fail_timer_call(1);
  starts_in(ONBOARD_MODE_UNCONFIGURED);
  EXPECT_EQ(mode_timer_fd, -1);
  pass(6);
  EXPECT_EQ(count_commands("wl escanresults"), 1);
  for (const auto mode : {ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_TEMP_SATELLITE}) {
    fail_timer_call(1);
    starts_in(mode);
    pass(22);
    EXPECT_EQ(context.wan_fail_count + context.bh_fail_count, mode - 1U);
  }
  starts_in(ONBOARD_MODE_BASE);
  platform().nvram["onboarding_soap_active"] = "1";
  fail_timer_call(1);
  pass(62);
  EXPECT_EQ(context.onboarding_active, 0U);
  fail_timer_call(1);
  starts_in(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  pass(6);
  EXPECT_EQ(count_commands("wl actframe"), 1);
  pass(30);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
}

TEST_F(RolesTest, AModeOutsideTheTableIsNamedEachTurnAndOtherwiseIgnored) {
  context.cur_mode = static_cast<OnboardMode>(9);
  dut_role_monitor();
  dut_role_monitor();
  EXPECT_EQ(messages(), "Unknown mode detected: 9\nUnknown mode detected: 9\n");
  EXPECT_TRUE(platform().journal.empty());
}

TEST_F(RolesTest, TheWindowOpensForSixtySecondsOnRequestOnly) {
  const Journal opened = {"$ wl add_ie 3 11 02:7E:91 0000000308010101",
                          "set onboarding_soap_active=0", "set onboarding_active_state=2"};
  const Journal closed = {"$ wl del_ie 3 11 02:7E:91 0000000308010101",
                          "set onboarding_active_state=0"};
  for (const auto mode : {ONBOARD_MODE_BASE, ONBOARD_MODE_TEMP_ROUTER}) {
    EXPECT_EQ(monitor(mode, {{"onboarding_soap_active", "1"}}), opened);
    EXPECT_EQ(context.onboarding_active, 1U);
    EXPECT_THAT(printed(), HasSubstr("timeout in 60 secs, retry interval: 0 \n"));
    EXPECT_EQ(messages(), "wl add_ie 3 11 02:7E:91 0000000308010101\nadd timer: " +
                              std::to_string(onboarding_timer_fd) +
                              " for candidate action frame handshake in 60 secs.\n");
    platform().nvram["wan_status"] = "up";
    pass(40);
    forget();
    platform().nvram["onboarding_soap_active"] = "1";
    dut_role_monitor();
    EXPECT_EQ(platform().journal, joined({closed, opened}));
    forget();
    pass(59);
    EXPECT_EQ(platform().journal, Journal{});
    pass(1);
    EXPECT_EQ(platform().journal, closed);
    EXPECT_EQ(messages(), "wl del_ie 3 11 02:7E:91 0000000308010101\n");
    EXPECT_EQ(context.onboarding_active, 0U);
    pass(100);
    EXPECT_EQ(platform().journal, closed);
  }
  for (const auto mode :
       {ONBOARD_MODE_UNCONFIGURED, ONBOARD_MODE_TEMP_SATELLITE, ONBOARD_MODE_SATELLITE}) {
    EXPECT_EQ(monitor(mode, {{"onboarding_soap_active", "1"}}), Journal{});
  }
  EXPECT_EQ(monitor(ONBOARD_MODE_BASE, {{"onboarding_soap_active", "0"}}), Journal{});
}

TEST_F(RolesTest, TheSatelliteConfigurationHoldsTheCredentialsWhereThereAreAny) {
  const Journal head = {"disable_mesh_settings", "set wl0_bsd_if_select_policy=wl1.1",
                        "set router_disable=1",  "set multiap_mode=2",
                        "set map_onboarded=1",   "set wl1_map=4",
                        "set wl1_mode=sta"};
  apply_satellite_config();
  EXPECT_EQ(platform().journal, joined({head, SATELLITE_ROLE}));
  forget();
  context.target.bh_ssid = {"net"};
  context.target.bh_password = {"phrase"};
  context.target.bh_crypto = {"aes"};
  context.target.bh_akm = {"psk2"};
  EXPECT_EQ(apply_satellite_config(), 0);
  const Journal credentials = {"set wl1_ssid=net",     "set wl1_akm=psk2",
                               "set wl1_crypto=aes",   "set wl1_wpa_psk=phrase",
                               "set wlg_b_ssid=net",   "set wlg_b_akm=psk2",
                               "set wlg_b_crypto=aes", "set wlg_b_wpa_psk=phrase"};
  EXPECT_EQ(platform().journal, joined({head, credentials, SATELLITE_ROLE}));
}

TEST_F(RolesTest, OnlyAForcedBaseConfigurationRestartsTheSettings) {
  for (const char* force : {"", "0", "11"}) {
    platform().nvram["vorlent_force_apply"] = force;
    EXPECT_EQ(apply_base_config(), 0);
    EXPECT_EQ(platform().journal, BASE_CONFIG);
    forget();
  }
}

TEST_F(RolesTest, TheTableHasARowForEachModeAndNoneForAnythingElse) {
  for (std::uint32_t value = 0; value < ONBOARD_MODE_COUNT; ++value) {
    const ModeRow* row = mode_row(static_cast<OnboardMode>(value));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->onboarding_role, std::to_string(value));
  }
  EXPECT_EQ(mode_row(static_cast<OnboardMode>(ONBOARD_MODE_COUNT)), nullptr);
  EXPECT_EQ(mode_row(static_cast<OnboardMode>(0xFFFFFFFFU)), nullptr);
}

}  // namespace
