#include "hostapd_control.h"

#include <array>

namespace radio {

bool Hostapd::renewed(const std::string& path, const std::string& own_folder) {
  if (control_ && ask("PING")) {
    return false;
  }
  control_.reset(wpa_ctrl_open2(path.c_str(), own_folder.c_str()));
  if (control_ && !ask("PING")) {
    control_.reset();
  }
  return attached();
}

bool Hostapd::set_elements(View elements) const {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : elements) {
    text += digits[byte >> 4];
    text += digits[byte & 0xf];
  }
  return ask("SET vendor_elements " + text) && ask("UPDATE_BEACON");
}

bool Hostapd::switch_channel(int count, int frequency, const std::string& options) const {
  return ask("CHAN_SWITCH " + std::to_string(count) + " " + std::to_string(frequency) + options);
}

bool Hostapd::ask(const std::string& command) const {
  std::array<char, 256> answer{};
  std::size_t size = answer.size();
  if (!control_ || wpa_ctrl_request(control_.get(), command.data(), command.size(), answer.data(),
                                    &size, nullptr) != 0) {
    return false;
  }
  const std::string_view text(answer.data(), size);
  return text == "OK\n" || text == "PONG\n";
}

}  // namespace radio
