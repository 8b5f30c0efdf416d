#include "supervisor.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "../places.h"
#include "own_file.h"
#include "vexo_nvram.h"

namespace network {

namespace {

constexpr std::chrono::seconds kPause{5};  // before one that has ended is started again

void say(const std::string& text) {
  static_cast<void>(fprintf(stderr, "vorlent-network: %s\n", text.c_str()));
}

// Whole or not at all; nobody else reads it, since it holds the network's key.
bool write_file(const char* path, const std::string& text) {
  const UniqueFd file = create_own_file(path, 0600);
  const bool whole =
      write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (!whole) {
    say(std::string(path) + " cannot be written");
  }
  return whole;
}

void begin(Networks& networks, const Configuration& configuration) {
  const bool base = networks.running.role == Role::access_point;
  const std::string path = std::string(kRunFolder) + (base ? "/hostapd.conf" : "/supplicant.conf");
  networks.wanted = write_file(path.c_str(), configuration.text);
  if (!networks.wanted) {
    return;
  }
  say(base ? "hostapd offers the unit's networks" : "wpa_supplicant joins the backhaul");
  if (base) {
    networks.program.start({"hostapd", path});
  } else {
    networks.program.start({"wpa_supplicant", "-i", networks.running.interface, "-c", path});
  }
}

void apply(Networks& networks, const Settings& settings) {
  networks.program.stop();
  networks.supplicant.forget();
  networks.running = settings;
  networks.wanted = false;
  networks.begun = Clock::now();
  const Configuration configuration = make_configuration(settings);
  if (!configuration.wrong.empty()) {
    say("no network is made: " + configuration.wrong);
  } else if (!configuration.text.empty()) {
    begin(networks, configuration);
  }
}

}  // namespace

// Settings are changed one by one: what has not changed for a turn is whole.
void turn(Networks& networks) {
  const Settings settings = read_settings([](const char* key) { return vexoNvramConfig_get(key); });
  if ((!(settings == networks.running) && settings == networks.seen) ||
      (networks.wanted && !networks.program.runs() && Clock::now() - networks.begun >= kPause)) {
    apply(networks, settings);
  }
  networks.seen = settings;
  const bool joined = networks.wanted && networks.running.role == Role::station &&
                      networks.supplicant.joined(networks.running.interface);
  follow(networks.backhaul, joined, Clock::now());
}

}  // namespace network
