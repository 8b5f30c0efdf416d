#include "role/configuration.h"

#include "core/context.h"
#include "core/nvram.h"
#include "core/shell.h"
#include "platform_onboarding.h"
#include "vexo_nvram.h"

namespace {

void set_backhaul_credentials(const TargetBssInfo& target) {
  vexoNvramConfig_set("wl1_ssid", target.bh_ssid.data());
  vexoNvramConfig_set("wl1_akm", target.bh_akm.data());
  vexoNvramConfig_set("wl1_crypto", target.bh_crypto.data());
  vexoNvramConfig_set("wl1_wpa_psk", target.bh_password.data());
  vexoNvramConfig_set("wlg_b_ssid", target.bh_ssid.data());
  vexoNvramConfig_set("wlg_b_akm", target.bh_akm.data());
  vexoNvramConfig_set("wlg_b_crypto", target.bh_crypto.data());
  vexoNvramConfig_set("wlg_b_wpa_psk", target.bh_password.data());
}

}  // namespace

void set_satellite_role() {
  vexoNvramConfig_set("mesh_role", "satallite");
  vexoNvramConfig_set("repeater_mode", "1");
  vexoNvramConfig_set("enable_mesh_mode", "2");
}

int apply_satellite_config() {
  disable_mesh_settings();
  vexoNvramConfig_set("wl0_bsd_if_select_policy", "wl1.1");
  vexoNvramConfig_set("router_disable", "1");
  vexoNvramConfig_set("multiap_mode", "2");
  vexoNvramConfig_set("map_onboarded", "1");
  vexoNvramConfig_set("wl1_map", "4");
  vexoNvramConfig_set("wl1_mode", "sta");
  if (context.target.bh_ssid[0] != '\0') {
    set_backhaul_credentials(context.target);
  }
  set_satellite_role();
  return 0;
}

int apply_base_config() {
  vexoNvramConfig_set("multiap_mode", "3");
  vexoNvramConfig_set("bh_map", "2");
  vexoNvramConfig_set("wl1_map", "1");
  vexoNvramConfig_set("wl1_mode", "ap");
  vexoNvramConfig_save();
  if (nvram_is("vorlent_force_apply", "1")) {
    vexoNvramConfig_unset("vorlent_force_apply");
    vexoNvramConfig_save();
    run_command("nvram restart");
  }
  return 0;
}

int reset_to_uncfg_defaults() {
  vexoNvramConfig_set("multiap_mode", "2");
  vexoNvramConfig_set("bh_map", "0");
  vexoNvramConfig_set("wl1_map", "4");
  vexoNvramConfig_set("wl1_mode", "sta");
  vexoNvramConfig_set("router_disable", "0");
  vexoNvramConfig_set("map_onboarded", "0");
  vexoNvramConfig_set("enable_mesh_mode", "1");
  vexoNvramConfig_unset("mesh_role");
  vexoNvramConfig_unset("repeater_mode");
  vexoNvramConfig_set("restart_all_processes", "1");
  reset_to_uncfg_mode();
  return 0;
}
