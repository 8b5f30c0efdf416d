#include "role/search.h"

#include "core/context.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/timer_list.h"
#include "vexo_nvram.h"

namespace {

constexpr int SCAN_SECONDS = 5;
constexpr int SCAN_LIMIT = 30 * 60 / SCAN_SECONDS;

}  // namespace

int vorlent_ie_scan() {
  ONBOARD_LOG("==========================================\n");
  ONBOARD_LOG("Searching Mesh onboarding ...\n\n");
  return run_command("wl escanresults > /tmp/escanresults_log");
}

void timer_cb_mesh_ie_scan_expired(int /*timer*/) {
  vexoNvramConfig_set("sat_onboarding", "0");
  ONBOARD_LOG("Disable mesh scan after 30 minutes Wi-Fi search.\n");
  mode_timer_fd = 0;  // the number may be another timer's by the time the mode is left
}

int start_search_timer() {
  TimerEntry entry{};
  entry.timeout = SCAN_SECONDS;
  entry.retry_interval = SCAN_SECONDS;
  entry.retry_limit = SCAN_LIMIT;
  entry.callback = [](int /*timer*/) { vorlent_ie_scan(); };
  entry.limit_callback = timer_cb_mesh_ie_scan_expired;
  return add_timer(epoll_fd, entry);
}
