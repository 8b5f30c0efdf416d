// What NVRAM says about this unit's networks, and the configuration of the program that makes them.
#ifndef PLATFORM_LINUX_NETWORK_NETWORK_CONFIG_H
#define PLATFORM_LINUX_NETWORK_NETWORK_CONFIG_H

#include <functional>
#include <string>

namespace network {

enum class Role { none, access_point, station };

// Four settings as they stand in NVRAM, which any program may have written.
struct Network {
  std::string ssid;
  std::string pass_phrase;
  std::string cipher;
  std::string key_management;

  bool operator==(const Network&) const = default;
};

struct Settings {
  Role role = Role::none;
  std::string interface;
  std::string channel;
  std::string country;
  Network backhaul;  // that a base offers, or that a satellite joins
  Network front;     // that a base offers besides; none where its SSID is empty

  bool operator==(const Settings&) const = default;
};

// A base offers networks, a satellite joins one; a unit that is neither yet does nothing.
Settings read_settings(const std::function<std::string(const char*)>& nvram);

struct Configuration {
  std::string text;   // for hostapd or for wpa_supplicant, by the role
  std::string wrong;  // why there is none: the setting that no network can be made of
};

// Nothing of a setting reaches the text as it stands but what was compared with a list of
// characters: an SSID goes there in hexadecimal, a pass phrase as the key that is made of it.
Configuration make_configuration(const Settings& settings);

}  // namespace network

#endif
