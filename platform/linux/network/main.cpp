// The service that makes a unit's networks out of its NVRAM, and tells NVRAM how the backhaul
// stands.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>

#include "../../standin/store_path.h"
#include "../places.h"
#include "../run_service.h"
#include "backhaul.h"
#include "kept_store.h"
#include "network_config.h"
#include "own_file.h"
#include "program.h"
#include "vexo_nvram.h"

namespace {

using network::Role;

constexpr std::chrono::seconds kPause{5};  // before one that has ended is started again
constexpr timespec kTurn{.tv_sec = 1, .tv_nsec = 0};

struct Options {
  std::string kept = "/var/lib/vorlent/nvram";
};

struct Networks {
  network::Settings running;
  network::Settings seen;
  bool wanted = false;  // a program ought to run
  network::Clock::time_point begun;
  network::Program program;
  network::Supplicant supplicant;
  network::Backhaul backhaul;
};

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

void begin(Networks& networks, const network::Configuration& configuration) {
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

void apply(Networks& networks, const network::Settings& settings) {
  networks.program.stop();
  networks.supplicant.forget();
  networks.running = settings;
  networks.wanted = false;
  networks.begun = network::Clock::now();
  const network::Configuration configuration = network::make_configuration(settings);
  if (!configuration.wrong.empty()) {
    say("no network is made: " + configuration.wrong);
  } else if (!configuration.text.empty()) {
    begin(networks, configuration);
  }
}

// Settings are changed one by one: what has not changed for a turn is whole.
void turn(Networks& networks) {
  const network::Settings settings =
      network::read_settings([](const char* key) { return vexoNvramConfig_get(key); });
  if ((!(settings == networks.running) && settings == networks.seen) ||
      (networks.wanted && !networks.program.runs() &&
       network::Clock::now() - networks.begun >= kPause)) {
    apply(networks, settings);
  }
  networks.seen = settings;
  const bool joined = networks.wanted && networks.running.role == Role::station &&
                      networks.supplicant.joined(networks.running.interface);
  network::follow(networks.backhaul, joined, network::Clock::now());
}

int run(const Options& options) {
  mkdir(kRunFolder, 0700);
  network::KeptStore store(standin::store_path(), options.kept);
  store.bring_back();
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT}) {
    sigaddset(&signals, signal);
  }
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  Networks networks;
  // Nothing has joined yet, whatever stood in NVRAM when the power went.
  if (vexoNvramConfig_match("map_agent_configured", "1") != 0) {
    vexoNvramConfig_set("map_agent_configured", "0");
  }
  do {
    turn(networks);
    store.look();
  } while (sigtimedwait(&signals, nullptr, &kTurn) < 0);
  return 0;
}

void declare_options(CLI::App& app, Options& options) {
  app.add_option("--keep", options.kept, "where NVRAM's saved values outlive a boot");
}

}  // namespace

int main(int argc, char** argv) {
  return run_service("vorlent-network", "Makes a unit's networks out of its NVRAM", declare_options,
                     run, argc, argv);
}
