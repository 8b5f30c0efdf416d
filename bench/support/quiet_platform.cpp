// A platform that does nothing: what remains is the daemon's own time. Its log still has to be
// given a text, so the daemon's own formatting is paid for.
#include "platform_onboarding.h"
#include "shared_debug_log.h"
#include "vexo_nvram.h"

const char* vexoNvramConfig_get(const char* /*key*/) {
  return "a value of usual length";
}
int vexoNvramConfig_match(const char* /*key*/, const char* /*value*/) {
  return 0;
}
int vexoNvramConfig_set(const char* /*key*/, const char* /*value*/) {
  return 0;
}
int vexoNvramConfig_unset(const char* /*key*/) {
  return 0;
}
int vexoNvramConfig_save(void) {
  return 0;
}
void shared_debug_log_init(const char* /*identity*/, const char* /*file*/, int /*max_bytes*/) {}
void shared_debug_log_do_write_log(const char* /*identity*/, const char* /*file*/,
                                   const char* /*format*/, ...) {}
int check_mac_in_candidate_satellite(const char* /*mac*/) {
  return 1;
}
int disable_mesh_settings(void) {
  return 0;
}
int reset_to_uncfg_mode(void) {
  return 0;
}
