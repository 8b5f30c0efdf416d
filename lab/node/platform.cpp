#include "node/platform.h"

#include <signal.h>

#include <utility>

#include "node/mesh.h"

namespace lab {

namespace {

constexpr Time kBackhaulUp = 300ms;    // from the restart to a backhaul that stands
constexpr Time kInstallation = 500ms;  // from there to the end of the installation
constexpr Time kSupervisor = 1s;       // until a daemon that ended by itself is started again

// Does it unless the power was cut or the daemon started anew in between.
template <typename Action>
void later_in_this_life(Mesh& mesh, Node& node, Time span, Action action) {
  mesh.loop.after(span, [&node, epoch = node.radio.epoch, starts = node.platform.starts, action] {
    if (node.radio.epoch == epoch && node.platform.starts == starts && node.sandbox.daemon_runs) {
      action();
    }
  });
}

void start(Mesh& mesh, Node& node) {
  Platform& platform = node.platform;
  ++platform.starts;
  platform.restart_wanted = false;
  platform.end_expected = false;
  publish(mesh, node, DaemonStarted{});
  start_daemon(mesh.kit, node.sandbox);
  // Where the mode's key does not change, nothing tells of the entry; by then it is over.
  mesh.loop.after_real(200ms, [&mesh, &node, starts = platform.starts] {
    if (node.platform.starts == starts && node.platform.mode == kOff) {
      node.nvram.own_stamp.clear();
      nvram_changed(mesh, node);
    }
  });
}

void set_mode(Mesh& mesh, Node& node, int mode) {
  const int before = std::exchange(node.platform.mode, mode);
  if (before != mode) {
    publish(mesh, node, ModeEntered{mode, before});
  }
}

// A restart ends the daemon that still runs: it is given time to go by itself, then told to.
void end_daemon(Mesh& mesh, Node& node) {
  const auto unless_gone = [&mesh, &node](Time span, int number) {
    mesh.loop.after_real(span, [&node, number, starts = node.platform.starts,
                                epoch = node.radio.epoch] {
      if (node.platform.starts == starts && node.radio.epoch == epoch && node.sandbox.daemon_runs) {
        signal_daemon(node.sandbox, number);
      }
    });
  };
  unless_gone(2s, SIGTERM);
  unless_gone(5s, SIGKILL);
}

void finish_installation(Mesh& mesh, Node& node) {
  say(mesh, node, "ends the installation: blank_state becomes 0, NVRAM is saved");
  set_nvram(mesh, node, "blank_state", "0");
  save_nvram(mesh, node);
}

void bring_up_backhaul(Mesh& mesh, Node& node) {
  if (node.platform.mode != 3) {
    return;
  }
  for (Node* base : all_of(mesh, NodeKind::base)) {
    if (has_credentials_of(node, *base) && base->platform.mode == 5) {
      say(mesh, node, "has its backhaul to " + base->name + ": map_agent_configured becomes 1");
      set_nvram(mesh, node, "map_agent_configured", "1");
      later_in_this_life(mesh, node, kInstallation,
                         [&mesh, &node] { finish_installation(mesh, node); });
      return;
    }
  }
  later_in_this_life(mesh, node, 1s, [&mesh, &node] { bring_up_backhaul(mesh, node); });
}

void request_restart(Mesh& mesh, Node& node) {
  node.platform.restart_wanted = true;
  if (node.sandbox.daemon_runs) {
    end_daemon(mesh, node);
  } else {
    start(mesh, node);
  }
}

void agent_ready(Mesh& mesh, Node& node) {
  node.owner.last_stir = mesh.loop.clock.now();
  start(mesh, node);
}

void daemon_ended(Mesh& mesh, Node& node, const std::string& how) {
  Platform& platform = node.platform;
  const bool wanted = platform.restart_wanted;
  const bool crashed = how.rfind("signal", 0) == 0 && !wanted && !platform.end_expected;
  publish(mesh, node, DaemonEnded{how, crashed});
  if (platform.mode != kOff || wanted || platform.end_expected) {
    platform.useless_starts = 0;
  } else if (++platform.useless_starts == 3) {
    fail(mesh, "the daemon of " + node.name + " ended three times before it was in any mode (" +
                   how + "); is " + mesh.kit.daemon + " the daemon?");
  }
  set_mode(mesh, node, kOff);
  owner_forgets(node);
  const std::uint64_t starts = platform.starts;
  mesh.loop.after(wanted ? 0s : kSupervisor, [&mesh, &node, starts, epoch = node.radio.epoch] {
    if (node.platform.starts == starts && node.radio.epoch == epoch && is_powered(node)) {
      start(mesh, node);
    }
  });
}

// What a program of the unit asks of the laboratory.
CommandResult serve_command(Mesh& mesh, Node& node, const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    line += (line.empty() ? "" : " ") + word;
  }
  CommandResult result;
  if (words.front() == "wl") {
    result = wl(mesh.air, node.radio, {words.begin() + 1, words.end()});
  } else if (words.size() == 2 && words.back() == "restart") {
    request_restart(mesh, node);
  } else {
    result = {1, words.front() + ": usage: " + words.front() + " restart\n"};
  }
  publish(mesh, node, CommandRun{line, result.status, result.text});
  return result;
}

}  // namespace

void serve_box(Mesh& mesh, Node& node) {
  node.sandbox.on_ready = [&mesh, &node] { agent_ready(mesh, node); };
  node.sandbox.on_daemon_ended = [&mesh, &node](const std::string& how) {
    daemon_ended(mesh, node, how);
  };
  node.sandbox.on_command = [&mesh, &node](const std::vector<std::string>& words) {
    return serve_command(mesh, node, words);
  };
}

void say(Mesh& mesh, Node& node, const std::string& text) {
  publish(mesh, node, PlatformActed{text});
}

void power_on(Mesh& mesh, Node& node) {
  if (is_powered(node)) {
    return;
  }
  publish(mesh, node, PowerSwitched{.on = true});
  if (node.kind == NodeKind::stranger) {
    node.radio.on = true;
    return;
  }
  restore_nvram(mesh, node);
  if (!open_sandbox(mesh.loop, mesh.kit, node.sandbox)) {
    publish(mesh, node, Fault{"no sandbox could be started"});
    return;
  }
  radio_on(mesh.air, node.radio);
}

void power_off(Mesh& mesh, Node& node, std::function<void()> then) {
  node.platform.when_off = std::move(then);
  if (!is_powered(node)) {
    return;
  }
  publish(mesh, node, PowerSwitched{.on = false, .unsaved = has_unsaved(node)});
  radio_off(node.radio);
  node.platform.restart_wanted = false;
  owner_forgets(node);
  cut_power(node.sandbox);
  set_mode(mesh, node, kOff);
  if (node.sandbox.pid < 0 && node.platform.when_off) {
    std::exchange(node.platform.when_off, nullptr)();
  }
}

void kill_daemon(Node& node) {
  node.platform.end_expected = true;
  signal_daemon(node.sandbox, SIGKILL);
}

void set_nvram(Mesh& mesh, Node& node, std::string_view key, std::string_view value) {
  change_nvram(mesh, node, key, value);
  nvram_changed(mesh, node);
}

void nvram_changed(Mesh& mesh, Node& node) {
  const std::string before = value_of(node.nvram.settings, "onboarding_role");
  if (!is_powered(node) || !read_nvram(mesh, node)) {
    return;
  }
  // A store that only the platform has written says nothing of the daemon's mode.
  const std::string role = value_of(node.nvram.settings, "onboarding_role");
  if (node.sandbox.daemon_runs && role.size() == 1 && (is_foreign(node) || role != before)) {
    set_mode(mesh, node, role[0] - '0');
  }
}

void platform_notices(Mesh& mesh, Node& node, const ModeEntered& entered) {
  // The daemon that stored the credentials still has to restart; the one that starts in mode 3
  // stays.
  if (node.kind == NodeKind::unit && entered.mode == 3 && entered.before == kOff) {
    later_in_this_life(mesh, node, kBackhaulUp, [&mesh, &node] { bring_up_backhaul(mesh, node); });
  }
}

}  // namespace lab
