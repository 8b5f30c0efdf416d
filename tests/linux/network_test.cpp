// A unit's networks: no setting of any bytes adds a line to what hostapd and wpa_supplicant read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <future>

#include "backhaul.h"
#include "kept_store.h"
#include "network_config.h"
#include "program.h"
#include "support/files.h"
#include "unique_fd.h"
#include "vexo_nvram.h"

namespace {

using Nvram = std::map<std::string, std::string>;

const Nvram kBase{{"multiap_mode", "3"}, {"bh_ssid", "IEEE"},   {"bh_wpa_psk", "password"},
                  {"bh_akm", "psk2"},    {"bh_crypto", "aes"},  {"wl0_ssid", "IEEE"},
                  {"wl0_akm", "psk2"},   {"wl0_crypto", "aes"}, {"wl0_wpa_psk", "password"}};
const Nvram kSatellite{{"multiap_mode", "2"}, {"mesh_role", "satallite"},
                       {"wl1_ssid", "IEEE"},  {"wl1_akm", "psk2"},
                       {"wl1_crypto", "aes"}, {"wl1_wpa_psk", "password"}};

network::Configuration with(Nvram nvram, const std::string& key, const std::string& value) {
  nvram[key] = value;
  return network::make_configuration(
      network::read_settings([&](const char* name) { return nvram[name]; }));
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

TEST(Networks, BothProgramsReadTheSameNetworks) {
  const std::string network =
      "ssid2=49454545\nwpa=2\nwpa_key_mgmt=WPA-PSK\nwpa_pairwise=CCMP\nrsn_pairwise=CCMP\n"
      "wpa_psk=f42c6fc52df0ebef9ebb4b90b38a5f902e83fe1b135a70e23aed762e9710a12e\n";
  Nvram nvram = kBase;
  nvram["wl0_country"] = "DE";
  nvram["wl0_ifname"] = "wlp1s0-0123456_";
  EXPECT_EQ(
      with(nvram, "wl0_channel", "36").text,
      "interface=wlp1s0-0123456_\nctrl_interface=/run/vorlent/hostapd\nhw_mode=a\nchannel=36\n"
      "ieee80211n=1\nwmm_enabled=1\ncountry_code=DE\nieee80211d=1\nuse_driver_iface_addr=1\n" +
          network + "bss=wlp1s0-0123456f\n" + network);
  nvram = kBase;
  nvram["bh_akm"] = "psk psk2";
  nvram["bh_crypto"] = "tkip+aes";
  EXPECT_EQ(with(nvram, "wl0_ssid", "").text,
            "interface=wlan0\nctrl_interface=/run/vorlent/hostapd\nhw_mode=g\nchannel=6\n"
            "ieee80211n=1\nwmm_enabled=1\nssid2=49454545\nwpa=3\nwpa_key_mgmt=WPA-PSK\n"
            "wpa_pairwise=TKIP CCMP\nrsn_pairwise=TKIP CCMP\n" +
                network.substr(network.find("wpa_psk")));
  nvram = kSatellite;
  nvram["wl0_country"] = "ZA";
  for (const auto& [akm, proto] :
       {std::pair("psk2", "RSN"), {"psk", "WPA"}, {"psk2 psk", "WPA RSN"}}) {
    EXPECT_EQ(with(nvram, "wl1_akm", akm).text,
              std::string(
                  "ctrl_interface=/run/vorlent/supplicant\ncountry=ZA\nnetwork={\n\tssid=49454545\n"
                  "\tscan_ssid=1\n\tkey_mgmt=WPA-PSK\n\tproto=") +
                  proto + "\n\tpairwise=CCMP\n\t" + network.substr(network.find("psk=f")) + "}\n");
  }
}

TEST(Networks, AreMadeOfSettingsThatANetworkCanHaveAndOfNoOthers) {
  const std::string longest(63, 'x');
  std::string why;
  const auto refused = [&](const std::string& key, const std::string& value) {
    const network::Configuration made = with(kBase, key.c_str(), value);
    why = made.wrong;
    return made.text.empty() && !made.wrong.empty();
  };
  for (const auto& [prefix, name] : {std::pair<std::string, std::string>("bh_", "the backhaul"),
                                     {"wl0_", "the front network"}}) {
    for (const char* word : {"", "open", "psk2\nwpa=0", "aes\n"}) {
      EXPECT_TRUE(refused(prefix + "crypto", word)) << word;
      EXPECT_EQ(why, name + ": its cipher is none of aes, tkip and tkip+aes");
      EXPECT_TRUE(refused(prefix + "akm", word)) << word;
      EXPECT_EQ(why, name + ": its key management is none of psk2, psk and \"psk psk2\"");
    }
    EXPECT_TRUE(refused(prefix + "wpa_psk", longest + 'x'));
    EXPECT_TRUE(refused(prefix + "wpa_psk", "7 bytes"));
    EXPECT_EQ(why, name + ": its pass phrase has not 8 to 63 bytes");
    EXPECT_TRUE(refused(prefix + "ssid", std::string(33, 'x')));
    EXPECT_EQ(why, name + ": its SSID has not 1 to 32 bytes");
  }
  for (const char* name : {"a\nb", "../x", "sixteen-letters-", "br 0"}) {
    EXPECT_TRUE(refused("wl0_ifname", name)) << name;
  }
  for (const char* channel : {"0", "15", "35", "49", "148", "178", "6\n", "6 x"}) {
    EXPECT_TRUE(refused("wl0_channel", channel)) << channel;
  }
  for (const auto& [key, value, line] :
       {std::array{"wl0_channel", "1", "hw_mode=g\nchannel=1\n"},
        {"wl0_channel", "14", "hw_mode=g\nchannel=14\n"},
        {"wl0_channel", "36", "hw_mode=a\nchannel=36\n"},
        {"wl0_channel", "48", "hw_mode=a\nchannel=48\n"},
        {"wl0_channel", "149", "hw_mode=a\nchannel=149\n"},
        {"wl0_channel", "177", "hw_mode=a\nchannel=177\n"},
        {"bh_ssid", "an SSID of as many bytes as fit.", "ssid2=616e20"},
        {"bh_wpa_psk", longest.c_str(), "\nwpa_psk="}}) {
    EXPECT_NE(with(kBase, key, value).text.find(line), std::string::npos) << value;
  }
  for (const char* country : {"D\n", "Da", "DEU"}) {
    EXPECT_TRUE(refused("wl0_country", country)) << country;
  }
  EXPECT_EQ(why, "wl0_country: not two capital letters");
  const network::Configuration none = with(kSatellite, "mesh_role", "");
  EXPECT_TRUE(none.text.empty() && none.wrong.empty()) << "a unit that is nothing yet";
}

TEST(Backhaul, TellsTheDaemonAndEndsTheInstallationWhenItHasStood) {
  using std::chrono::seconds;
  network::Backhaul backhaul;
  const network::Clock::time_point begin;
  const auto after = [&](int when, bool joined) {
    network::follow(backhaul, joined, begin + seconds(when));
    return std::string(vexoNvramConfig_get("map_agent_configured")) + "/" +
           vexoNvramConfig_get("blank_state");
  };
  EXPECT_EQ(after(0, true), "1/");
  EXPECT_EQ(after(9, false), "0/");
  EXPECT_EQ(after(10, true), "1/");
  EXPECT_EQ(after(19, true), "1/");
  EXPECT_EQ(after(20, true), "1/0");
  EXPECT_NE(read_file("/tmp/vexo_nvram.saved").find("blank_state=0\n"), std::string::npos);

  unlink("/tmp/vexo_nvram.saved");
  after(21, true);
  EXPECT_NE(access("/tmp/vexo_nvram.saved", F_OK), 0) << "told once";
  vexoNvramConfig_save();

  network::KeptStore store("/tmp/vexo_nvram", "/tmp/kept");
  store.look();
  unlink("/tmp/vexo_nvram");
  std::filesystem::create_directory("/tmp/vexo_nvram.new");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(store.bring_back());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vorlent-network: /tmp/kept is not brought back to /tmp/vexo_nvram: Is a directory\n");
  EXPECT_NE(access("/tmp/vexo_nvram", F_OK), 0) << "it would be kept in its place";
  std::filesystem::remove("/tmp/vexo_nvram.new");
  EXPECT_TRUE(store.bring_back());
  EXPECT_STREQ(vexoNvramConfig_get("blank_state"), "0") << "after a power cut";
  unlink("/tmp/kept");
  store.look();
  EXPECT_NE(access("/tmp/kept", F_OK), 0) << "written again for nothing";
  const std::string edited(read_file("/tmp/vexo_nvram.saved").size(), '\n');
  write_file("/tmp/vexo_nvram.saved", edited);
  store.look();
  EXPECT_EQ(read_file("/tmp/kept"), edited) << "changed in place, and as long as before";
  network::KeptStore other("/tmp/vexo_nvram", "/tmp/none/kept");
  testing::internal::CaptureStderr();
  other.look();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vorlent-network: /tmp/none/kept: No such file or directory\n");
  std::filesystem::create_directory("/tmp/none");
  other.look();
  EXPECT_EQ(read_file("/tmp/none/kept"), read_file("/tmp/kept"));
  unlink("/tmp/kept");
  unlink("/tmp/vexo_nvram");
  umask(0);
  EXPECT_TRUE(store.bring_back());
  EXPECT_EQ(read_file("/tmp/vexo_nvram"), "");
  EXPECT_EQ(std::filesystem::status("/tmp/vexo_nvram").permissions(), std::filesystem::perms{0600});
}

// wpa_supplicant's control socket, for as long as it stands.
struct PlayedSupplicant {
  PlayedSupplicant() {
    std::filesystem::create_directories("/run/vorlent/supplicant");
    unlink(address.sun_path);
    const timeval patience{10, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    EXPECT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  // Whether the backhaul stands for who gets this answer to the question for the status.
  bool joined(network::Supplicant& asking, const std::string& answer) {
    auto stands = std::async(std::launch::async, [&] { return asking.joined("wlan0"); });
    char question[9] = {};
    sockaddr_un from{};
    socklen_t size = sizeof from;
    auto* sender = reinterpret_cast<sockaddr*>(&from);
    EXPECT_EQ(recvfrom(socket.get(), question, sizeof question, 0, sender, &size), 6);
    EXPECT_STREQ(question, "STATUS");
    EXPECT_GT(sendto(socket.get(), answer.data(), answer.size(), 0, sender, size), 0);
    return stands.get();
  }

  const sockaddr_un address{AF_UNIX, "/run/vorlent/supplicant/wlan0"};
  const UniqueFd socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST(Supplicant, HasJoinedWhenItSaysSoInALineOfItsOwn) {
  network::Supplicant asking;
  EXPECT_FALSE(asking.joined("wlan0"));
  for (int starts = 0; starts < 2; ++starts) {
    {
      PlayedSupplicant supplicant;
      const std::string rest = "key_mgmt=WPA2-PSK\n" + std::string(2000, '=') + "\n";
      EXPECT_TRUE(supplicant.joined(asking, "ssid=home\nwpa_state=COMPLETED\n" + rest));
      EXPECT_FALSE(supplicant.joined(asking, "ssid=wpa_state=COMPLETED\nwpa_state=SCANNING\n"));
      EXPECT_TRUE(supplicant.joined(asking, rest + "wpa_state=COMPLETED\n"));
    }
    EXPECT_FALSE(asking.joined("wlan0")) << "it has gone";
  }
}

bool comes_true(const std::function<bool()>& seen) {
  for (int i = 0; i < 5000 && !seen(); ++i) {
    usleep(2000);
  }
  return seen();
}

TEST(Program, EndsWhenItIsAskedToAndWithItsParent) {
  const auto shell = [](const std::string& when_asked) {
    const std::string lines = "; echo >/tmp/lives; while :; do sleep 0.01; done";
    return std::vector<std::string>{"sh", "-c", "trap '" + when_asked + "' TERM" + lines};
  };
  const auto lives = [] { return access("/tmp/lives", F_OK) == 0; };
  const auto ended = [&] { return !lives(); };
  const pid_t bystander = fork();
  if (bystander == 0) {
    pause();
  }
  sigset_t term;  // blocked, as it is for who waits for it
  sigset_t before;
  sigemptyset(&term);
  sigaddset(&term, SIGTERM);
  sigprocmask(SIG_BLOCK, &term, &before);
  network::Program program;
  testing::internal::CaptureStderr();
  program.start({"no-such-program"});
  EXPECT_TRUE(comes_true([&] { return !program.runs(); }));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vorlent-network: no-such-program: No such file or directory\n");
  program.start(shell("rm /tmp/lives; exit"));
  EXPECT_TRUE(comes_true(lives) && program.runs());
  program.stop();
  EXPECT_TRUE(ended() && !program.runs());
  if (fork() == 0) {
    program.start(shell("rm /tmp/lives; exit"));
    comes_true(lives);
    _exit(0);
  }
  wait(nullptr);
  EXPECT_TRUE(comes_true(ended));
  program.start(shell(""));
  EXPECT_TRUE(comes_true(lives));
  program.stop();
  EXPECT_FALSE(program.runs());
  program.stop();
  kill(bystander, SIGKILL);
  int status = 0;
  EXPECT_EQ(waitpid(bystander, &status, 0), bystander);
  EXPECT_EQ(WTERMSIG(status), SIGKILL) << "nobody else is asked to end";
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "also where it does not want to end";
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
