// The mode table: what each mode writes, runs, listens to, watches and leaves behind.
#include "core/mode_table.h"
#include "event_filter.h"
#include "handshake/action_frame.h"
#include "handshake/base_side.h"
#include "handshake/unit_side.h"
#include "mode_entry.h"
#include "role/mode_detection.h"
#include "role/onboarding_window.h"
#include "role/role_change.h"
#include "role/role_monitor.h"

namespace {

constexpr std::array<Operation, 3> UNIT_OPERATIONS = {{
    {ATTR_ID_1001, act_op_1001_handler},
    {ATTR_ID_1003, act_op_1003_handler},
    {ATTR_ID_1004, act_op_1004_handler},
}};

constexpr std::array<Operation, 2> BASE_OPERATIONS = {{
    {ATTR_ID_1000, act_op_1000_handler},
    {ATTR_ID_1002, act_op_1002_handler},
}};

constexpr std::array<ModeRow, ONBOARD_MODE_COUNT> MODES = {{
    {.mode = ONBOARD_MODE_UNCONFIGURED,
     .onboarding_role = "0",
     .entry = unconfigured_mode_cfg,
     .event_handler = uncfg_register,
     .operations = {},
     .monitor = unconfigured_monitor,
     .settle = settle_unconfigured,
     .rearm = rearm_search,
     .timer = &mode_timer_fd,
     .timer_unsaid = false,
     .resumed = nullptr},
    {.mode = ONBOARD_MODE_UNCFG_ACT_HANDSHAKE,
     .onboarding_role = "1",
     .entry = unconfigured_act_handshake_mode_cfg,
     .event_handler = uncfg_act_handshake_register,
     .operations = UNIT_OPERATIONS,
     .monitor = unconfigured_monitor,
     .settle = nullptr,
     .rearm = rearm_handshake,
     .timer = &context.act_timer_fd,
     .timer_unsaid = false,
     .resumed = nullptr},
    {.mode = ONBOARD_MODE_TEMP_ROUTER,
     .onboarding_role = "2",
     .entry = enter_base_mode,
     .event_handler = router_register,
     .operations = BASE_OPERATIONS,
     .monitor = temp_router_monitor,
     .settle = settle_temp_router,
     .rearm = rearm_internet_watchdog,
     .timer = &mode_timer_fd,
     .timer_unsaid = false,
     .resumed = say_temp_router_resumed},
    {.mode = ONBOARD_MODE_TEMP_SATELLITE,
     .onboarding_role = "3",
     .entry = temp_sat_mode_cfg,
     .event_handler = nullptr,
     .operations = {},
     .monitor = temp_sat_monitor,
     .settle = settle_temp_satellite,
     .rearm = rearm_backhaul_watchdog,
     .timer = &mode_timer_fd,
     .timer_unsaid = false,
     .resumed = say_temp_satellite_resumed},
    {.mode = ONBOARD_MODE_TEMP_ETH_SATELLITE,
     .onboarding_role = "4",
     .entry = temp_sat_mode_cfg,
     .event_handler = nullptr,
     .operations = {},
     .monitor = temp_sat_monitor,
     .settle = settle_temp_eth_satellite,
     .rearm = rearm_backhaul_watchdog,
     .timer = &mode_timer_fd,
     .timer_unsaid = false,
     .resumed = say_temp_satellite_resumed},
    {.mode = ONBOARD_MODE_BASE,
     .onboarding_role = "5",
     .entry = enter_base_mode,
     .event_handler = router_register,
     .operations = BASE_OPERATIONS,
     .monitor = onboarding_window_check,
     .settle = settle_base,
     .rearm = rearm_internet_watchdog,
     .timer = &mode_timer_fd,
     .timer_unsaid = true,
     .resumed = nullptr},
    {.mode = ONBOARD_MODE_SATELLITE,
     .onboarding_role = "6",
     .entry = nullptr,
     .event_handler = nullptr,
     .operations = {},
     .monitor = nullptr,
     .settle = nullptr,
     .rearm = nullptr,
     .timer = &mode_timer_fd,
     .timer_unsaid = true,
     .resumed = nullptr},
}};

constexpr bool rows_stand_at_their_mode() {
  for (std::size_t i = 0; i < MODES.size(); ++i) {
    if (MODES[i].mode != i || MODES[i].onboarding_role[0] != static_cast<char>('0' + i)) {
      return false;
    }
  }
  return true;
}
static_assert(rows_stand_at_their_mode());

}  // namespace

const ModeRow* mode_row(OnboardMode mode) {
  return mode < MODES.size() ? &MODES[mode] : nullptr;
}
