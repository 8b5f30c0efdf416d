// A unit's networks: no setting of any bytes adds a line to what hostapd and wpa_supplicant read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "backhaul.h"
#include "kept_store.h"
#include "settings.h"
#include "support/files.h"
#include "vexo_nvram.h"

namespace {

using Nvram = std::map<std::string, std::string>;

const Nvram kBase{{"multiap_mode", "3"}, {"bh_ssid", "IEEE"},   {"bh_wpa_psk", "password"},
                  {"bh_akm", "psk2"},    {"bh_crypto", "aes"},  {"wl0_ssid", "IEEE"},
                  {"wl0_akm", "psk2"},   {"wl0_crypto", "aes"}, {"wl0_wpa_psk", "password"}};
const Nvram kSatellite{{"multiap_mode", "2"}, {"mesh_role", "satallite"},
                       {"wl1_ssid", "IEEE"},  {"wl1_akm", "psk2"},
                       {"wl1_crypto", "aes"}, {"wl1_wpa_psk", "password"}};

service::Configuration with(Nvram nvram, const std::string& key, const std::string& value) {
  nvram[key] = value;
  return service::make_configuration(
      service::read_settings([&](const char* name) { return nvram[name]; }));
}

// The lines, each without the digits that stand for SSID and key.
std::string shape(std::string text) {
  for (const std::string name : {"ssid2=", "wpa_psk=", "\tssid=", "\tpsk="}) {
    for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos; at += name.size()) {
      const std::size_t begin = at + name.size();
      const std::size_t end = text.find_first_not_of("0123456789abcdef", begin);
      text.erase(begin, end - begin);
    }
  }
  return text;
}

TEST(Networks, NoBytesOfAnSsidOrPassPhraseReachTheProgramsAsTheyStand) {
  const std::string key = "psk=f42c6fc52df0ebef9ebb4b90b38a5f902e83fe1b135a70e23aed762e9710a12e\n";
  for (const auto& [nvram, prefix] :
       {std::pair(kBase, "bh_"), {kBase, "wl0_"}, {kSatellite, "wl1_"}}) {
    const std::string plain = with(nvram, "", "").text;
    EXPECT_NE(plain.find(key), std::string::npos) << "not the key of the standard's example";
    for (const char* ending : {"ssid", "wpa_psk"}) {
      const std::string hostile = "\"\n\r#\\ }=\t\x01\xff\nwpa=0\n";
      EXPECT_EQ(shape(with(nvram, prefix + std::string(ending), hostile).text), shape(plain));
    }
  }
}

TEST(Networks, TheFrontNetworkHasAnInterfaceOfItsOwn) {
  for (const auto& [name, front] : {std::pair("wlan0", "wlan0f"),
                                    {"wlx00c0ca8fab12", "wlx00c0ca8fab1f"},
                                    {"wlx00c0ca8fab1f", "wlx00c0ca8fab1g"}}) {
    EXPECT_NE(with(kBase, "wl0_ifname", name).text.find(std::string("\nbss=") + front + "\n"),
              std::string::npos);
  }
}

TEST(Networks, NothingIsMadeOfASettingThatNoNetworkHas) {
  const auto refused = [](const char* key, const std::string& value) {
    const service::Configuration made = with(kBase, key, value);
    return made.text.empty() && !made.wrong.empty();
  };
  for (const char* prefix : {"bh_", "wl0_"}) {
    for (const char* word : {"", "open", "psk2\nwpa=0", "aes\n"}) {
      EXPECT_TRUE(refused((prefix + std::string("akm")).c_str(), word)) << word;
      EXPECT_TRUE(refused((prefix + std::string("crypto")).c_str(), word)) << word;
    }
    EXPECT_TRUE(refused((prefix + std::string("wpa_psk")).c_str(), "7 bytes"));
    EXPECT_TRUE(refused((prefix + std::string("ssid")).c_str(), std::string(33, 'x')));
  }
  for (const char* name : {"a\nb", "../x", "sixteen-letters-", "br 0"}) {
    EXPECT_TRUE(refused("wl0_ifname", name)) << name;
  }
  for (const char* channel : {"0", "52", "6\n", "6 x", "200"}) {
    EXPECT_TRUE(refused("wl0_channel", channel)) << channel;
  }
  EXPECT_TRUE(refused("wl0_country", "D\n") && refused("wl0_country", "DEU"));
  const service::Configuration none = with(kSatellite, "mesh_role", "");
  EXPECT_TRUE(none.text.empty() && none.wrong.empty()) << "a unit that is nothing yet";
}

TEST(Backhaul, TellsTheDaemonAndEndsTheInstallationWhenItHasStood) {
  using std::chrono::seconds;
  service::Backhaul backhaul;
  const service::Clock::time_point begin;
  const auto after = [&](int when, bool joined) {
    service::follow(backhaul, joined, begin + seconds(when));
    return std::string(vexoNvramConfig_get("map_agent_configured")) + "/" +
           vexoNvramConfig_get("blank_state");
  };
  EXPECT_EQ(after(0, true), "1/");
  EXPECT_EQ(after(9, false), "0/");
  EXPECT_EQ(after(10, true), "1/");
  EXPECT_EQ(after(19, true), "1/");
  EXPECT_EQ(after(20, true), "1/0");
  EXPECT_NE(read_file("/tmp/vexo_nvram.saved").find("blank_state=0\n"), std::string::npos);

  service::KeptStore("/tmp/vexo_nvram", "/tmp/kept").look();
  unlink("/tmp/vexo_nvram");
  service::KeptStore("/tmp/vexo_nvram", "/tmp/kept").bring_back();
  EXPECT_STREQ(vexoNvramConfig_get("blank_state"), "0") << "after a power cut";
}

}  // namespace
