#include "role/role_settings.h"

#include "core/context.h"
#include "core/nvram.h"
#include "core/shell.h"
#include "platform_onboarding.h"

namespace {

void set_backhaul_credentials(const TargetBssInfo& target) {
  nvram_set("wl1_ssid", target.bh_ssid.data());
  nvram_set("wl1_akm", target.bh_akm.data());
  nvram_set("wl1_crypto", target.bh_crypto.data());
  nvram_set("wl1_wpa_psk", target.bh_password.data());
  nvram_set("wlg_b_ssid", target.bh_ssid.data());
  nvram_set("wlg_b_akm", target.bh_akm.data());
  nvram_set("wlg_b_crypto", target.bh_crypto.data());
  nvram_set("wlg_b_wpa_psk", target.bh_password.data());
}

}  // namespace

void set_satellite_role() {
  nvram_set("mesh_role", "satallite");
  nvram_set("repeater_mode", "1");
  nvram_set("enable_mesh_mode", "2");
}

int apply_satellite_config() {
  disable_mesh_settings();
  nvram_set("wl0_bsd_if_select_policy", "wl1.1");
  nvram_set("router_disable", "1");
  nvram_set("multiap_mode", "2");
  nvram_set("map_onboarded", "1");
  nvram_set("wl1_map", "4");
  nvram_set("wl1_mode", "sta");
  if (context.target.bh_ssid[0] != '\0') {
    set_backhaul_credentials(context.target);
  }
  set_satellite_role();
  return 0;
}

int apply_base_config() {
  nvram_set("multiap_mode", "3");
  nvram_set("bh_map", "2");
  nvram_set("wl1_map", "1");
  nvram_set("wl1_mode", "ap");
  nvram_save();
  if (nvram_is("vorlent_force_apply", "1")) {
    nvram_unset("vorlent_force_apply");
    nvram_save();
    run_command("nvram restart");
  }
  return 0;
}

int reset_to_uncfg_defaults() {
  nvram_set("multiap_mode", "2");
  nvram_set("bh_map", "0");
  nvram_set("wl1_map", "4");
  nvram_set("wl1_mode", "sta");
  nvram_set("router_disable", "0");
  nvram_set("map_onboarded", "0");
  nvram_set("enable_mesh_mode", "1");
  nvram_unset("mesh_role");
  nvram_unset("repeater_mode");
  nvram_set("restart_all_processes", "1");
  reset_to_uncfg_mode();
  return 0;
}
