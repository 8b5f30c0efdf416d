// The service that makes a unit's networks out of its NVRAM, and tells NVRAM how the backhaul
// stands.
#include <signal.h>
#include <sys/stat.h>

#include <ctime>
#include <string>

#include "../../standin/store_path.h"
#include "../places.h"
#include "../run_service.h"
#include "kept_store.h"
#include "supervisor.h"
#include "vexo_nvram.h"

namespace {

constexpr timespec kTurn{.tv_sec = 1, .tv_nsec = 0};

struct Options {
  std::string kept = "/var/lib/vorlent/nvram";
};

int run(const Options& options) {
  mkdir(kRunFolder, 0700);
  network::KeptStore store(standin::store_path(), options.kept);
  if (!store.bring_back()) {
    return 1;  // Without a live store no daemon starts; the service manager lets us try again.
  }
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT}) {
    sigaddset(&signals, signal);
  }
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  network::Networks networks;
  // Nothing has joined yet, whatever stood in NVRAM when the power went.
  if (vexoNvramConfig_match("map_agent_configured", "1") != 0) {
    vexoNvramConfig_set("map_agent_configured", "0");
  }
  do {
    network::turn(networks);
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
