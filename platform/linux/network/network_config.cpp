#include "network_config.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "../places.h"

namespace network {

namespace {

constexpr const char* kAlphanumeric =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t kInterfaceMax = 15;

struct Word {
  const char* in_nvram;
  const char* for_hostapd;
};

// An open network is none of these: a setting that got lost must not open the backhaul.
constexpr std::array<Word, 4> kVersions{
    {{"psk2", "2"}, {"psk", "1"}, {"psk psk2", "3"}, {"psk2 psk", "3"}}};
constexpr std::array<Word, 4> kCiphers{
    {{"aes", "CCMP"}, {"tkip", "TKIP"}, {"tkip+aes", "TKIP CCMP"}, {"aes+tkip", "TKIP CCMP"}}};

template <std::size_t n>
const char* find(const std::array<Word, n>& words, const std::string& setting) {
  const auto found = std::find_if(words.begin(), words.end(),
                                  [&](const Word& it) { return setting == it.in_nvram; });
  return found == words.end() ? nullptr : found->for_hostapd;
}

std::string hex(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out;
  for (const char byte : bytes) {
    out += digits[static_cast<unsigned char>(byte) >> 4];
    out += digits[static_cast<unsigned char>(byte) & 0xf];
  }
  return out;
}

// The key that both programs would make of the pass phrase themselves.
std::string key_of(const Network& network) {
  std::array<unsigned char, 32> key{};
  const bool made = PKCS5_PBKDF2_HMAC_SHA1(
                        network.pass_phrase.data(), static_cast<int>(network.pass_phrase.size()),
                        reinterpret_cast<const unsigned char*>(network.ssid.data()),
                        static_cast<int>(network.ssid.size()), 4096, static_cast<int>(key.size()),
                        key.data()) == 1;
  return made ? hex({reinterpret_cast<const char*>(key.data()), key.size()}) : "";
}

std::string wrong_in(const Network& network, const char* which) {
  const std::string name = which;
  if (network.ssid.empty() || network.ssid.size() > 32) {
    return name + ": its SSID has not 1 to 32 bytes";
  }
  if (network.pass_phrase.size() < 8 || network.pass_phrase.size() > 63) {
    return name + ": its pass phrase has not 8 to 63 bytes";
  }
  if (find(kVersions, network.key_management) == nullptr) {
    return name + ": its key management is none of psk2, psk and \"psk psk2\"";
  }
  return find(kCiphers, network.cipher) == nullptr
             ? name + ": its cipher is none of aes, tkip and tkip+aes"
             : "";
}

int channel_number(const std::string& text) {
  int out = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
  return error == std::errc() && end == text.data() + text.size() ? out : 0;
}

// Without those that radar has to be listened for on first.
bool may_begin_on(int channel) {
  return (channel >= 1 && channel <= 14) || (channel >= 36 && channel <= 48) ||
         (channel >= 149 && channel <= 177);
}

std::string wrong_in(const Settings& settings) {
  const std::string& name = settings.interface;
  const bool simple =
      name.find_first_not_of(std::string(kAlphanumeric) + "_-") == std::string::npos;
  if (name.empty() || name.size() > kInterfaceMax || !simple) {
    return "wl0_ifname: no network interface's name";
  }
  const bool letters =
      settings.country.find_first_not_of(std::string(kAlphanumeric, 26)) == std::string::npos;
  if (!settings.country.empty() && (settings.country.size() != 2 || !letters)) {
    return "wl0_country: not two capital letters";
  }
  if (settings.role == Role::access_point && !may_begin_on(channel_number(settings.channel))) {
    return "wl0_channel: none of 1 to 14, 36 to 48 and 149 to 177";
  }
  const std::string backhaul = wrong_in(settings.backhaul, "the backhaul");
  const bool with_front = settings.role == Role::access_point && !settings.front.ssid.empty();
  return backhaul.empty() && with_front ? wrong_in(settings.front, "the front network") : backhaul;
}

std::string hostapd_network(const Network& network) {
  const std::string cipher = find(kCiphers, network.cipher);
  return "ssid2=" + hex(network.ssid) + "\nwpa=" + find(kVersions, network.key_management) +
         "\nwpa_key_mgmt=WPA-PSK\nwpa_pairwise=" + cipher + "\nrsn_pairwise=" + cipher +
         "\nwpa_psk=" + key_of(network) + "\n";
}

// The second network's interface, which has to have a name of its own: a longest one, as cards on
// USB are given it by their address, may end with the "f" itself.
std::string front_of(const std::string& interface) {
  const std::string out = interface.substr(0, kInterfaceMax - 1) + "f";
  return out == interface ? interface.substr(0, kInterfaceMax - 1) + "g" : out;
}

std::string hostapd_text(const Settings& settings) {
  const int channel = channel_number(settings.channel);
  std::string out = "interface=" + settings.interface + "\nctrl_interface=" + kHostapdSockets +
                    "\nhw_mode=" + (channel <= 14 ? "g" : "a") +
                    "\nchannel=" + std::to_string(channel) + "\nieee80211n=1\nwmm_enabled=1\n";
  if (!settings.country.empty()) {
    out += "country_code=" + settings.country + "\nieee80211d=1\n";
  }
  if (!settings.front.ssid.empty()) {
    out += "use_driver_iface_addr=1\n";  // whatever addresses the card has to give
  }
  out += hostapd_network(settings.backhaul);
  if (!settings.front.ssid.empty()) {
    out += "bss=" + front_of(settings.interface) + "\n" + hostapd_network(settings.front);
  }
  return out;
}

std::string supplicant_text(const Settings& settings) {
  const Network& network = settings.backhaul;
  const std::string version = find(kVersions, network.key_management);
  const std::string proto = version == "1" ? "WPA" : version == "2" ? "RSN" : "WPA RSN";
  const std::string cipher = find(kCiphers, network.cipher);
  return std::string("ctrl_interface=") + kSupplicantSockets + "\n" +
         (settings.country.empty() ? "" : "country=" + settings.country + "\n") +
         "network={\n\tssid=" + hex(network.ssid) +
         "\n\tscan_ssid=1\n\tkey_mgmt=WPA-PSK\n\tproto=" + proto + "\n\tpairwise=" + cipher +
         "\n\tpsk=" + key_of(network) + "\n}\n";
}

}  // namespace

Settings read_settings(const std::function<std::string(const char*)>& nvram) {
  const auto network = [&](const char* ssid, const char* pass, const char* cipher,
                           const char* management) {
    return Network{nvram(ssid), nvram(pass), nvram(cipher), nvram(management)};
  };
  const auto or_else = [](const std::string& text, const char* usual) {
    return text.empty() ? std::string(usual) : text;
  };
  Settings out;
  const std::string mode = nvram("multiap_mode");
  if (mode == "3") {
    out.role = Role::access_point;
    out.backhaul = network("bh_ssid", "bh_wpa_psk", "bh_crypto", "bh_akm");
    out.front = network("wl0_ssid", "wl0_wpa_psk", "wl0_crypto", "wl0_akm");
  } else if (mode == "2" && nvram("mesh_role") == "satallite" && !nvram("wl1_ssid").empty()) {
    out.role = Role::station;
    out.backhaul = network("wl1_ssid", "wl1_wpa_psk", "wl1_crypto", "wl1_akm");
  }
  out.interface = or_else(nvram("wl0_ifname"), "wlan0");
  out.channel = or_else(nvram("wl0_channel"), "6");
  out.country = nvram("wl0_country");
  return out;
}

Configuration make_configuration(const Settings& settings) {
  if (settings.role == Role::none) {
    return {};
  }
  const std::string wrong = wrong_in(settings);
  if (!wrong.empty()) {
    return {"", wrong};
  }
  return {settings.role == Role::access_point ? hostapd_text(settings) : supplicant_text(settings),
          ""};
}

}  // namespace network
