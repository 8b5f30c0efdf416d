#include "role/mode_detection.h"

#include "core/context.h"
#include "core/log.h"
#include "core/mode_table.h"
#include "core/nvram.h"

namespace {

constexpr const char* AS_LOAD_CUR_MODE = "load_cur_mode";

void start_in(OnboardMode mode) {
  context.cur_mode = mode;
  context.target_role = mode;
}

// A unit that is not installed goes on where it was, but a handshake or anything else begins anew.
void load_mode_before_installation() {
  for (std::uint32_t mode = 0; mode < ONBOARD_MODE_COUNT; ++mode) {
    const ModeRow* row = mode_row(static_cast<OnboardMode>(mode));
    if (row->resumed != nullptr && nvram_is("onboarding_role", row->onboarding_role)) {
      start_in(row->mode);
      row->resumed();
      return;
    }
  }
  start_in(ONBOARD_MODE_UNCONFIGURED);
  ONBOARD_LOG_AS(AS_LOAD_CUR_MODE, "Default un-configured mode.\n");
}

void load_installed_mode() {
  if (nvram_is("multiap_mode", "2") && nvram_is("enable_mesh_mode", "2") &&
      nvram_is("mesh_role", "satallite")) {
    start_in(ONBOARD_MODE_SATELLITE);
    ONBOARD_LOG_AS(AS_LOAD_CUR_MODE, "Satellite detected...\n");
  } else if (nvram_is("multiap_mode", "3") && nvram_is("enable_mesh_mode", "1")) {
    start_in(ONBOARD_MODE_BASE);
    ONBOARD_LOG_AS(AS_LOAD_CUR_MODE, "Base detected...\n");
  }
}

}  // namespace

void say_temp_router_resumed() {
  ONBOARD_LOG_AS(AS_LOAD_CUR_MODE, "Temp Router mode detected...\n");
}

void say_temp_satellite_resumed() {
  ONBOARD_LOG_AS(AS_LOAD_CUR_MODE, "Temp Satellite mode detected...\n");
}

int load_cur_mode() {
  if (nvram_is("blank_state", "1")) {
    load_mode_before_installation();
  } else {
    load_installed_mode();
  }
  return 0;
}
