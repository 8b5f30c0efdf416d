#include "role/search.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/context.h"
#include "core/log.h"
#include "core/nvram.h"
#include "core/shell.h"
#include "core/timer_list.h"
#include "core/told_failure.h"
#include "own_file.h"

namespace {

constexpr const char* AS_VORLENT_IE_SCAN = "vorlent_ie_scan";

constexpr int SCAN_SECONDS = 5;
constexpr int SCAN_LIMIT = 30 * 60 / SCAN_SECONDS;
constexpr const char* SCAN_FILE = "/tmp/escanresults_log";

// The shell would empty the file that a link at its place leads to, and wait at a pipe for good.
bool prepare_scan_file() {
  static ToldFailure told;
  const UniqueFd file = open_own_file(SCAN_FILE, O_WRONLY, 0666);
  const int error = file.open() ? 0 : errno;
  if (is_news(told, error)) {
    ONBOARD_LOG_AS(AS_VORLENT_IE_SCAN, "no scan: %s cannot be made: %s\n", SCAN_FILE,
                   strerror(error));
  }
  return file.open();
}

}  // namespace

int vorlent_ie_scan() {
  ONBOARD_LOG("==========================================\n");
  ONBOARD_LOG("Searching Mesh onboarding ...\n\n");
  if (!prepare_scan_file()) {
    return -1;
  }
  std::array<char, 64> command{};
  (void)snprintf(command.data(), command.size(), "wl escanresults > %s", SCAN_FILE);
  return run_command(command.data());
}

void timer_cb_mesh_ie_scan_expired(int /*timer*/) {
  nvram_set("sat_onboarding", "0");
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
