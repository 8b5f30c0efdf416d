#include "discovery/target_base.h"

#include "core/log.h"

void set_target_base(const MacText& bssid, std::uint8_t channel) {
  context.target = TargetBssInfo{};
  context.act_stage = STAGE_NONE;
  context.act_timer_fd = 0;
  context.target.channel = channel;
  context.target.bssid = bssid;
}

void dump_target_bss_info() {
  const TargetBssInfo& target = context.target;
  ONBOARD_LOG("======Dump Tartget BSS info==========\n");
  ONBOARD_LOG("Target BSS:\nBSSID: %s\nchannel: %d\n", target.bssid.data(), target.channel);
  ONBOARD_LOG("base_pub_key: %s\nkey_len: %d\n", target.base_pub_key.data(), target.key_len);
  ONBOARD_LOG("bh_ssid: %s\nbh_password: %s\n", target.bh_ssid.data(), target.bh_password.data());
  ONBOARD_LOG("bh_crypto: %s\nbh_akm: %s\n", target.bh_crypto.data(), target.bh_akm.data());
  ONBOARD_LOG("=====================================\n");
}
