#include "role/role_monitor.h"

#include "core/context.h"
#include "core/log.h"
#include "core/mode_table.h"
#include "core/nvram.h"
#include "core/timer_list.h"
#include "role/onboarding_window.h"
#include "role/role_change.h"
#include "role/watchdogs.h"

namespace {

constexpr const char* AS_DUT_ROLE_MONITOR = "dut_role_monitor";

void change_to(OnboardMode mode) {
  context.target_role = mode;
  role_bakery();
}

// A request that stays would be served again each turn, and after each start: the un-configured
// mode ends the daemon.
bool take_back_request(const char* mode) {
  nvram_unset("mesh_role_manual");
  return !nvram_is("mesh_role_manual", mode);
}

// True when a manual request was there and has been served.
bool serve_manual_request() {
  if (nvram_is("mesh_role_manual", "base") && take_back_request("base")) {
    context.target_role = ONBOARD_MODE_TEMP_ROUTER;
    ONBOARD_LOG_AS(AS_DUT_ROLE_MONITOR, "Change to base mode manually.\n");
    role_bakery();
    return true;
  }
  if (nvram_is("mesh_role_manual", "uncfg") && take_back_request("uncfg")) {
    ONBOARD_LOG_AS(AS_DUT_ROLE_MONITOR, "restore to Unconfigured mode.\n");
    restore_to_uncfg_mode(1);
    return true;
  }
  return false;
}

// The backhaul is up: over `enable_mesh_mode` "1" Ethernet, over "2" wireless.
bool agent_configured(const char* enable_mesh_mode) {
  return nvram_is("map_agent_configured", "1") && nvram_is("multiap_mode", "2") &&
         nvram_is("enable_mesh_mode", enable_mesh_mode);
}

// A unit whose timer the system refused would never search again or never give up, so it is asked
// for again. 0 is different: a timer that has done its work.
void renew_refused_timer() {
  const ModeRow* row = mode_row(context.cur_mode);
  if (row != nullptr && row->rearm != nullptr && *row->timer == -1 && may_ask_again()) {
    row->rearm();
  }
}

}  // namespace

void dut_role_monitor() {
  renew_refused_timer();
  if (serve_manual_request()) {
    return;
  }
  const ModeRow* row = mode_row(context.cur_mode);
  if (row == nullptr) {
    ONBOARD_LOG("Unknown mode detected: %d\n", static_cast<int>(context.cur_mode));
  } else if (row->monitor != nullptr) {
    row->monitor();
  }
}

void unconfigured_monitor() {
  if (nvram_is("blank_state", "0")) {
    ONBOARD_LOG("Leave blank_state without full installation...\n");
    change_to(ONBOARD_MODE_BASE);
  } else if (agent_configured("1")) {
    ONBOARD_LOG("Ethernet satellite detected...\n");
    change_to(ONBOARD_MODE_TEMP_ETH_SATELLITE);
  } else if (agent_configured("2")) {
    ONBOARD_LOG("Temp satellite detected...\n");
    change_to(ONBOARD_MODE_TEMP_SATELLITE);
  } else if (nvram_is("wan_status", "up")) {
    change_to(ONBOARD_MODE_TEMP_ROUTER);
  }
}

void temp_router_monitor() {
  if (nvram_is("blank_state", "0") && nvram_is("multiap_mode", "3")) {
    change_to(ONBOARD_MODE_BASE);
    return;
  }
  onboarding_window_check();
  if (failed_too_often(context.wan_fail_count)) {
    change_to(ONBOARD_MODE_UNCONFIGURED);
  }
}

void temp_sat_monitor() {
  if (nvram_is("blank_state", "0") && nvram_is("multiap_mode", "2")) {
    change_to(ONBOARD_MODE_SATELLITE);
  } else if (failed_too_often(context.bh_fail_count)) {
    change_to(ONBOARD_MODE_UNCONFIGURED);
  }
}
