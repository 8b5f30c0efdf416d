#include "node/platform.h"

#include <utility>

#include "node/mesh.h"

namespace lab {

namespace {

constexpr Time kBackhaulUp = 300ms;    // from the restart to a backhaul that stands
constexpr Time kInstallation = 500ms;  // from there to the end of the installation

// Does it unless the power was cut or the daemon started anew in between.
template <typename Action>
void later_in_this_life(Mesh& mesh, Node& node, Time span, Action action) {
  mesh.loop.after(span, [&node, epoch = node.radio.epoch, starts = node.supervisor.starts, action] {
    if (node.radio.epoch == epoch && node.supervisor.starts == starts && node.sandbox.daemon_runs) {
      action();
    }
  });
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
  node.sandbox.on_ready = [&mesh, &node] { box_ready(mesh, node); };
  node.sandbox.on_daemon_ended = [&mesh, &node](const std::string& how) {
    daemon_ended(mesh, node, how);
  };
  node.sandbox.on_command = [&mesh, &node](const std::vector<std::string>& words) {
    return serve_command(mesh, node, words);
  };
}

void change_mode(Mesh& mesh, Node& node, int mode) {
  const int before = std::exchange(node.platform.mode, mode);
  if (before != mode) {
    publish(mesh, node, ModeEntered{mode, before});
  }
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
  node.supervisor.restart_wanted = false;
  owner_forgets(node);
  cut_power(node.sandbox);
  change_mode(mesh, node, kOff);
  if (node.sandbox.pid < 0 && node.platform.when_off) {
    std::exchange(node.platform.when_off, nullptr)();
  }
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
    change_mode(mesh, node, role[0] - '0');
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
