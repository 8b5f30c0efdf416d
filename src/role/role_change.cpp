#include "role/role_change.h"

#include "core/log.h"
#include "core/mode_table.h"
#include "core/nvram.h"
#include "core/timer_list.h"
#include "role/role_settings.h"

namespace {

constexpr const char* AS_ROLE_BAKERY = "role_bakery";

}  // namespace

int enter_cur_mode() {
  const ModeRow* row = mode_row(context.cur_mode);
  if (row == nullptr) {
    return 0;
  }
  nvram_set("onboarding_role", row->onboarding_role);
  if (row->entry != nullptr) {
    row->entry();
  }
  return 0;
}

void role_bakery() {
  ONBOARD_LOG("target_role:cur_role >> (%d:%d)\n", static_cast<int>(context.target_role),
              static_cast<int>(context.cur_mode));
  if (context.target_role == context.cur_mode) {
    return;
  }
  clear_timer();  // by the row of the old mode, so before cur_mode changes
  const OnboardMode old_mode = context.cur_mode;
  context.cur_mode = context.target_role;
  enter_cur_mode();
  const ModeRow* row = mode_row(context.cur_mode);
  if (row != nullptr && row->settle != nullptr) {
    row->settle(old_mode);
  }
}

void clear_timer() {
  ONBOARD_LOG("check alive timers.\n");
  const ModeRow* row = mode_row(context.cur_mode);
  if (row == nullptr || row->timer_unsaid) {
    ONBOARD_LOG("No alive timer: %d\n", static_cast<int>(context.cur_mode));
  }
  // A base's Internet watchdog goes as well: left alive, it would soon be one of two.
  int* timer = row == nullptr ? &mode_timer_fd : row->timer;
  if (*timer > 0) {
    del_timer(epoll_fd, *timer);
    *timer = 0;
  }
}

void restore_to_uncfg_mode(int flag) {
  ONBOARD_LOG("restore to Unconfigured mode.\n");
  reset_to_uncfg_defaults();
  if (flag != 0) {
    context.need_restart = 1;
  }
}

// A unit whose handshake failed searches again at once; every other way back restarts the services.
void settle_unconfigured(OnboardMode old_mode) {
  ONBOARD_LOG_AS(AS_ROLE_BAKERY, "Restore to un-configured mode.\n");
  restore_to_uncfg_mode(old_mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE ? 0 : 1);
}

void settle_temp_router(OnboardMode /*old_mode*/) {
  ONBOARD_LOG_AS(AS_ROLE_BAKERY, "Apply Base configuration.\n");
  apply_base_config();
}

void settle_temp_satellite(OnboardMode /*old_mode*/) {
  ONBOARD_LOG_AS(AS_ROLE_BAKERY, "Apply satellite configuration.\n");
  apply_satellite_config();
  nvram_set("restart_all_processes", "1");
  context.need_restart = 1;
}

void settle_temp_eth_satellite(OnboardMode /*old_mode*/) {
  ONBOARD_LOG_AS(AS_ROLE_BAKERY, "Ethernet BH established!, go to apply zorv nvram. \n");
  set_satellite_role();
  context.need_restart = 1;
}

// Only a unit that was never configured as a base needs the configuration, and then at once.
void settle_base(OnboardMode old_mode) {
  if (old_mode != ONBOARD_MODE_UNCONFIGURED && old_mode != ONBOARD_MODE_UNCFG_ACT_HANDSHAKE) {
    return;
  }
  ONBOARD_LOG_AS(AS_ROLE_BAKERY, "Apply Base configuration.\n");
  nvram_set("vorlent_force_apply", "1");
  apply_base_config();
}
