#include "platform_onboarding.h"

#include <strings.h>

#include <cstddef>
#include <string_view>

#include "shared_debug_log.h"
#include "vexo_nvram.h"

namespace {

// The daemon's own log: what the platform does for the daemon is read there, in its order.
void log_line(const char* call) {
  shared_debug_log_do_write_log("vorlent", "vorlent_dbg.log", "[platform] %s\n", call);
}

bool equal_without_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

int check_mac_in_candidate_satellite(const char* mac) {
  if (mac == nullptr || *mac == '\0') {
    return 0;
  }
  std::string_view list = vexoNvramConfig_get("candidate_satellites");
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(' '));
    if (equal_without_case(entry, mac)) {
      return 1;
    }
    list.remove_prefix(entry.size() < list.size() ? entry.size() + 1 : list.size());
  }
  return 0;
}

int disable_mesh_settings(void) {
  log_line("disable_mesh_settings");
  return 0;
}

int reset_to_uncfg_mode(void) {
  log_line("reset_to_uncfg_mode");
  return 0;
}
