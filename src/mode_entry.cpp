#include "mode_entry.h"

#include "core/context.h"
#include "core/log.h"
#include "core/nvram.h"
#include "core/shell.h"
#include "crypto/own_key_pair.h"
#include "discovery/candidate_table.h"
#include "handshake/unit_side.h"
#include "role/search.h"
#include "role/watchdogs.h"
#include "role/wl_elements.h"

void rearm_search() {
  mode_timer_fd = start_search_timer();
}

void rearm_internet_watchdog() {
  mode_timer_fd = start_internet_watchdog();
}

void rearm_backhaul_watchdog() {
  mode_timer_fd = start_backhaul_watchdog();
}

int unconfigured_mode_cfg() {
  run_command(ADD_UNIT_ELEMENT.data());
  ONBOARD_LOG("%s", ADD_UNIT_ELEMENT.data());
  nvram_set("sat_onboarding", "1");
  vorlent_ie_scan();
  rearm_search();
  return 0;
}

int unconfigured_act_handshake_mode_cfg() {
  ONBOARD_LOG("Go to action frame handshake...\n");
  run_command(DEL_UNIT_ELEMENT.data());
  ONBOARD_LOG("%s\n", DEL_UNIT_ELEMENT.data());
  make_own_key_pair();
  act_op_1000_sender();
  arm_handshake_timer(SPEAKER, STAGE_AWAIT_1001);
  return 0;
}

int temp_router_mode_cfg() {
  run_command(DEL_UNIT_ELEMENT.data());
  ONBOARD_LOG("%s\n", DEL_UNIT_ELEMENT.data());
  make_own_key_pair();
  rearm_internet_watchdog();
  return 0;
}

int enter_base_mode() {
  forget_earlier_candidates();
  return temp_router_mode_cfg();
}

int temp_sat_mode_cfg() {
  run_command(DEL_UNIT_ELEMENT.data());
  ONBOARD_LOG("%s\n", DEL_UNIT_ELEMENT.data());
  rearm_backhaul_watchdog();
  return 0;
}
