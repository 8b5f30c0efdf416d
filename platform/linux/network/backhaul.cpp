#include "backhaul.h"

#include <array>
#include <string_view>

#include "../places.h"
#include "vexo_nvram.h"

namespace network {

bool Supplicant::joined(const std::string& interface) {
  if (!control_) {
    const std::string path = std::string(kSupplicantSockets) + "/" + interface;
    control_.reset(wpa_ctrl_open2(path.c_str(), kRunFolder));
  }
  constexpr std::string_view question = "STATUS";
  std::array<char, 4096> answer{};
  std::size_t size = answer.size();
  if (!control_ || wpa_ctrl_request(control_.get(), question.data(), question.size(), answer.data(),
                                    &size, nullptr) != 0) {
    forget();  // it has gone; a new one has a socket of its own
    return false;
  }
  // As a line of its own: an SSID may read the same.
  return std::string_view(answer.data(), size).find("\nwpa_state=COMPLETED\n") !=
         std::string_view::npos;
}

void follow(Backhaul& backhaul, bool joined, Clock::time_point now) {
  if (joined != backhaul.stands) {
    backhaul = {joined, now};
    vexoNvramConfig_set("map_agent_configured", joined ? "1" : "0");
  }
  if (joined && now - backhaul.since >= kStands && vexoNvramConfig_match("blank_state", "0") == 0) {
    vexoNvramConfig_set("blank_state", "0");
    vexoNvramConfig_save();
  }
}

}  // namespace network
