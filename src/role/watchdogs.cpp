#include "role/watchdogs.h"

#include "core/context.h"
#include "core/log.h"
#include "core/nvram.h"
#include "core/timer_list.h"

namespace {

constexpr int FIRST_CHECK_SECONDS = 20;
constexpr int CHECK_SECONDS = 15;
constexpr std::int32_t FAILED_CHECKS_TOLERATED = 9;

int start_watchdog(TimerCallback check) {
  TimerEntry entry{};
  entry.timeout = FIRST_CHECK_SECONDS;
  entry.retry_interval = CHECK_SECONDS;
  entry.callback = check;
  return add_timer(epoll_fd, entry);
}

}  // namespace

void check_Internet_conn() {
  if (nvram_is("wan_status", "up")) {
    context.wan_fail_count = 0;
    return;
  }
  ONBOARD_LOG("Internet disconnected... \n");
  ++context.wan_fail_count;
}

void check_bh_conn() {
  if (nvram_is("map_agent_configured", "1")) {
    context.bh_fail_count = 0;
    return;
  }
  ONBOARD_LOG("BH disconnected... \n");
  ++context.bh_fail_count;
}

bool failed_too_often(std::uint32_t count) {
  return static_cast<std::int32_t>(count) > FAILED_CHECKS_TOLERATED;  // compared as signed
}

int start_internet_watchdog() {
  return start_watchdog([](int /*timer*/) { check_Internet_conn(); });
}

int start_backhaul_watchdog() {
  return start_watchdog([](int /*timer*/) { check_bh_conn(); });
}
