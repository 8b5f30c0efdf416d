#include "lab.h"

#include <signal.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace lab {

namespace {

constexpr Time kTick = 500ms;

std::string hex_of(std::uint64_t value) {
  char text[20];
  snprintf(text, sizeof text, "%08x", static_cast<unsigned>(value));
  return text;
}

// A pass phrase that stands nowhere else, so that a capture can be searched for it.
Settings base_factory(const std::string& name, int index, std::uint64_t seed) {
  return {{"lab_unit", name},
          {"blank_state", "0"},
          {"multiap_mode", "3"},
          {"enable_mesh_mode", "1"},
          {"wan_status", "up"},
          {"bh_ssid", "backhaul-of-" + name},
          {"bh_wpa_psk", "pass phrase of " + name + " " +
                             hex_of(seed * 2654435761U + 97U * static_cast<unsigned>(index))},
          {"bh_crypto", "aes"},
          {"bh_akm", "psk2"}};
}

Settings unit_factory(const std::string& name) {
  return {{"lab_unit", name},
          {"blank_state", "1"},
          {"multiap_mode", "2"},
          {"enable_mesh_mode", "1"},
          {"bh_map", "0"},
          {"wl1_map", "4"},
          {"wl1_mode", "sta"},
          {"router_disable", "0"},
          {"map_onboarded", "0"},
          {"wan_status", "down"},
          {"map_agent_configured", "0"}};
}

Node& add_node(Lab& lab, NodeKind kind, const std::string& name, Mac mac) {
  lab.nodes.push_back(std::make_unique<Node>());
  Node& node = *lab.nodes.back();
  node.kind = kind;
  node.name = name;
  node.radio.mac = mac;
  node.sandbox.folder = lab.work + "/" + name;
  return node;
}

void make_mesh(Lab& lab) {
  const Scenario& scenario = lab.scenario;
  constexpr std::array<int, kMaxBases> channels{6, 36, 11, 1};
  for (int i = 1; i <= scenario.bases; ++i) {
    const std::string name = i == 1 ? "base" : "base-" + std::to_string(i);
    const auto number = static_cast<std::uint8_t>(i);
    Node& base = add_node(lab, NodeKind::base, name, {0x02, 0xba, 0x5e, 0, 0, number});
    const auto wanted = scenario.channels.find(name);
    base.radio.access_point = true;
    base.radio.ssid = "home-" + std::to_string(i);
    base.radio.channel = wanted != scenario.channels.end()
                             ? wanted->second.number
                             : channels[static_cast<std::size_t>(i - 1)];
    base.platform.factory = base_factory(name, i, scenario.air.seed);
  }
  for (int i = 1; i <= scenario.units; ++i) {
    const std::string name = "unit-" + std::to_string(i);
    const auto number = static_cast<std::uint8_t>(i);
    Node& unit = add_node(lab, NodeKind::unit, name, {0x02, 0xa7, 0, 0, 0, number});
    unit.platform.factory = unit_factory(name);
  }
  if (scenario.stranger) {
    add_node(lab, NodeKind::stranger, "stranger", {0x02, 0x66, 0x66, 0x66, 0x66, 0x66});
  }
}

bool prepare_nodes(Lab& lab) {
  lab.inotify = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  for (const auto& node : lab.nodes) {
    if (node->kind == NodeKind::stranger) {
      continue;
    }
    if (!make_folders(*node)) {
      return false;
    }
    const int watch = inotify_add_watch(lab.inotify, tmp_of(*node).c_str(),
                                        IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE);
    if (watch < 0) {
      return false;
    }
    lab.inotify_nodes[watch] = node.get();
  }
  return true;
}

void read_file_changes(Lab& lab) {
  alignas(inotify_event) std::array<char, 16384> buffer{};
  const ssize_t length = read(lab.inotify, buffer.data(), buffer.size());
  std::set<std::pair<Node*, std::string>> changed;
  for (ssize_t at = 0; at < length;) {
    const auto* event =
        reinterpret_cast<const inotify_event*>(&buffer[static_cast<std::size_t>(at)]);
    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    const auto node = lab.inotify_nodes.find(event->wd);
    if (node != lab.inotify_nodes.end() && event->len > 0) {
      changed.insert({node->second, static_cast<const char*>(event->name)});
    }
  }
  for (const auto& [node, file] : changed) {
    if (file == "vexo_nvram") {
      nvram_changed(lab, *node);
    } else if (file == "vexo_onborading.json" && node->kind == NodeKind::base) {
      candidates_changed(lab, *node);
    }
  }
}

void collect_children(Lab& lab) {
  for (pid_t pid = waitpid(-1, nullptr, WNOHANG); pid > 0; pid = waitpid(-1, nullptr, WNOHANG)) {
    for (const auto& node : lab.nodes) {
      if (node->sandbox.pid != pid) {
        continue;
      }
      sandbox_closed(lab, *node);
      if (node->radio.on) {
        const std::string why = last_words(*node);
        lab.failure =
            "the sandbox of " + node->name + " ended by itself" + (why.empty() ? "" : ": " + why);
        stop(lab, 2);
      }
      if (const auto then = std::exchange(node->platform.when_off, nullptr)) {
        then();
      }
    }
  }
}

void read_signals(Lab& lab, int fd) {
  signalfd_siginfo info{};
  while (read(fd, &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGCHLD) {
      collect_children(lab);
    } else {
      stop(lab, 128 + static_cast<int>(info.ssi_signo));
    }
  }
}

int watch_signals(Lab& lab) {
  sigset_t signals;
  sigemptyset(&signals);
  // SIGPIPE: nobody reads what is printed any more.
  for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    sigaddset(&signals, number);
  }
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  lab.loop.watch(fd, [&lab, fd] { read_signals(lab, fd); });
  return fd;
}

// Whether some unit waits for the credentials and all others are in.
bool everybody_waits(Lab& lab) {
  bool some = false;
  for (const Node* unit : all_of(lab, NodeKind::unit)) {
    const bool waits = unit->platform.mode == 1 && unit->journey.heard == 1004;
    some = some || waits;
    if (!waits && unit->platform.mode != 6) {
      return false;
    }
  }
  return some;
}

void choose_pace(Lab& lab) {
  const int rate = everybody_waits(lab) ? lab.scenario.skip_waits : lab.scenario.time_lapse;
  if (lab.scenario.skip_waits > 1 && rate != lab.loop.clock.rate()) {
    lab.loop.clock.set_rate(rate);
  }
}

void check_end(Lab& lab) {
  if (lab.recorder.air.failed() || ferror(lab.recorder.timeline.get()) != 0 ||
      ferror(stdout) != 0) {
    stop(lab, 2);
    return;
  }
  const auto verdicts = judge(lab);
  const bool all_hold = std::all_of(verdicts.begin(), verdicts.end(),
                                    [](const Verdict& verdict) { return verdict.holds; });
  const bool decided = std::all_of(verdicts.begin(), verdicts.end(), [](const Verdict& verdict) {
    return verdict.holds || verdict.final;
  });
  if (decided || lab.loop.clock.now() > lab.scenario.limit) {
    stop(lab, all_hold ? 0 : 1);
  }
}

void tick(Lab& lab) {
  tick_owners(lab);
  choose_pace(lab);
  check_end(lab);
  lab.loop.after(kTick, [&lab] { tick(lab); });
}

void tick_display(Lab& lab) {
  measure_memory(lab);
  draw_live(lab);
  lab.loop.after_real(400ms, [&lab] { tick_display(lab); });
}

// Ends every sandbox and waits until nothing of them is left.
void end_all(Lab& lab) {
  for (const auto& node : lab.nodes) {
    node->platform.when_off = nullptr;
    cut_power(*node);
  }
  for (const auto& node : lab.nodes) {
    if (node->sandbox.pid > 0) {
      waitpid(node->sandbox.pid, nullptr, 0);
    }
  }
}

// A new handshake has begun: what goes to and from this unit now is not sent again.
void forget_sent(Lab& lab, const Node& unit) {
  for (const auto& node : lab.nodes) {
    auto& sent = node->radio.last_sent;
    std::erase_if(sent, [&](const auto& entry) {
      return node.get() == &unit || entry.first.second == unit.radio.mac;
    });
  }
}

}  // namespace

void stop(Lab& lab, int exit_status) {
  lab.exit_status = exit_status;
  lab.loop.stop();
}

void publish(Lab& lab, Occurrence seen) {
  seen.time = lab.loop.clock.now();
  record(lab, seen);
  if (seen.node != nullptr) {
    follow_journey(lab, seen);
  }
  console_notices(lab, seen);
  director_notices(lab, seen);
  platform_notices(lab, seen);
  owner_notices(lab, seen);
  if (seen.what == What::mode && seen.number <= 1) {
    forget_sent(lab, *seen.node);
  }
  if (seen.what == What::mode || seen.what == What::heard) {
    choose_pace(lab);
  }
}

Node* find_node(Lab& lab, const std::string& name) {
  for (const auto& node : lab.nodes) {
    if (node->name == name) {
      return node.get();
    }
  }
  return nullptr;
}

Node* find_station(Lab& lab, const Mac& mac) {
  for (const auto& node : lab.nodes) {
    if (node->radio.mac == mac) {
      return node.get();
    }
  }
  return nullptr;
}

std::vector<Node*> all_of(Lab& lab, NodeKind kind) {
  std::vector<Node*> found;
  for (const auto& node : lab.nodes) {
    if (node->kind == kind) {
      found.push_back(node.get());
    }
  }
  return found;
}

bool is_powered(const Node& node) {
  return node.radio.on;
}

int run(Lab& lab) {
  std::string folder = std::filesystem::temp_directory_path() / "meshlab-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    fprintf(stderr, "meshlab: %s: %s\n", folder.c_str(), strerror(errno));
    return 2;
  }
  lab.work = folder;
  lab.air = lab.scenario.air;
  lab.time_lapse = lab.scenario.time_lapse > 1 || lab.scenario.skip_waits > 1;
  make_mesh(lab);
  std::string error;
  if (!lab.loop.clock.start(lab.work + "/clock") || !prepare_nodes(lab)) {
    error = lab.work + ": " + strerror(errno);
  } else {
    error = open_record(lab.recorder, lab.options.out);
  }
  if (error.empty()) {
    const int signals = watch_signals(lab);
    lab.loop.watch(lab.inotify, [&lab] { read_file_changes(lab); });
    lab.loop.clock.set_rate(lab.scenario.time_lapse);
    start_director(lab);
    tick(lab);
    tick_display(lab);
    lab.loop.run();
    end_all(lab);
    close(signals);
    error = close_record(lab);
    error = lab.failure.empty() ? error : lab.failure;
    print_result(lab, lab.options.json);
    const bool told = fflush(stdout) == 0 && ferror(stdout) == 0;
    if (!told && error.empty() && lab.exit_status < 128) {
      error = "standard output cannot be written";
    }
  }
  if (!error.empty()) {
    fprintf(stderr, "meshlab: %s\n", error.c_str());
    lab.exit_status = lab.exit_status > 2 ? lab.exit_status : 2;
  }
  if (lab.options.keep) {
    fprintf(stderr, "meshlab: the units' folders are kept in %s\n", lab.work.c_str());
  } else {
    std::error_code ignored;
    std::filesystem::remove_all(lab.work, ignored);
  }
  return lab.exit_status;
}

}  // namespace lab
