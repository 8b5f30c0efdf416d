#include "discovery/join_base.h"

#include <cstdio>

#include "core/log.h"
#include "core/shell.h"
#include "discovery/target_base.h"
#include "role/role_change.h"

namespace {

void switch_to_channel(std::uint8_t channel) {
  std::array<char, 64> command{};
  (void)snprintf(command.data(), command.size(), "wl csa 0 5 %d", channel);
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "%s\n", command.data());
  run_command(command.data());
}

}  // namespace

void join_base(const MacText& bssid, std::uint16_t chanspec) {
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "Found Mesh onboarding!!\n");
  ONBOARD_LOG_AS(AS_UNCFG_REGISTER, "==========================================\n");
  set_target_base(bssid, static_cast<std::uint8_t>(chanspec & 0xFFU));
  dump_target_bss_info();
  switch_to_channel(context.target.channel);
  context.target_role = ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
  role_bakery();
}
