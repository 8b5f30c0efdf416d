#include "node/platform.h"

#include <signal.h>
#include <string.h>
#include <sys/stat.h>

#include <filesystem>
#include <utility>

#include "base/box_files.h"
#include "lab.h"

namespace lab {

namespace {

constexpr Time kBackhaulUp = 300ms;    // from the restart to a backhaul that stands
constexpr Time kInstallation = 500ms;  // from there to the end of the installation
constexpr char kNvram[] = "tmp/vexo_nvram";
constexpr char kSaved[] = "tmp/vexo_nvram.saved";
constexpr Time kSupervisor = 1s;  // until a daemon that ended by itself is started again

const char* const kCredentials[][3] = {{"bh_ssid", "wl1_ssid", "wlg_b_ssid"},
                                       {"bh_wpa_psk", "wl1_wpa_psk", "wlg_b_wpa_psk"},
                                       {"bh_crypto", "wl1_crypto", "wlg_b_crypto"},
                                       {"bh_akm", "wl1_akm", "wlg_b_akm"}};

std::string value_of(const Settings& settings, std::string_view key) {
  const auto found = settings.find(key);
  return found == settings.end() ? "" : found->second;
}

// Does it unless the power was cut or the daemon started anew in between.
template <typename Action>
void later_in_this_life(Lab& lab, Node& node, Time span, Action action) {
  lab.loop.after(span, [&node, epoch = node.radio.epoch, starts = node.platform.starts, action] {
    if (node.radio.epoch == epoch && node.platform.starts == starts && node.sandbox.daemon_runs) {
      action();
    }
  });
}

// Which file the NVRAM is at the moment: every writer replaces it.
std::string stamp_of(const Node& node) {
  struct stat status {};
  lstat((node.sandbox.folder + "/" + kNvram).c_str(), &status);
  return std::to_string(status.st_ino) + " " + std::to_string(status.st_mtim.tv_sec) + " " +
         std::to_string(status.st_mtim.tv_nsec);
}

void tell_torn(Lab& lab, Node& node, const std::string& what) {
  ++node.journey.torn;
  publish(lab, {.what = What::fault, .node = &node, .text = what});
}

void put_nvram(Lab& lab, Node& node, const char* file, std::string_view text) {
  if (!replace_in_box(node.sandbox.folder, file, text)) {
    tell_torn(lab, node, std::string("its NVRAM cannot be written: ") + strerror(errno));
  }
}

// What is in /tmp when a unit starts: its NVRAM as it was last saved and nothing else.
void restore_nvram(Lab& lab, Node& node) {
  const std::string& box = node.sandbox.folder;
  std::string text = standin::format_values(node.platform.factory);
  if (!node.platform.first_boot) {
    text = read_in_box(box, kSaved).value_or("");
    if (!is_whole(text)) {
      tell_torn(lab, node, "its saved NVRAM is torn");
    }
  }
  for (const auto& entry : std::filesystem::directory_iterator(tmp_of(node))) {
    std::error_code ignored;
    std::filesystem::remove_all(entry, ignored);
  }
  put_nvram(lab, node, kSaved, text);
  text = standin::with_value(text, "map_agent_configured", "0");
  put_nvram(lab, node, kNvram, text);
  node.platform.own_stamp = stamp_of(node);
  node.platform.nvram = standin::parse_values(text);
  node.platform.first_boot = false;
}

void start(Lab& lab, Node& node) {
  Platform& platform = node.platform;
  ++platform.starts;
  platform.restart_wanted = false;
  platform.end_expected = false;
  publish(lab, {.what = What::daemon, .node = &node, .text = "the daemon starts", .number = 1});
  start_daemon(lab, node);
  // Where the mode's key does not change, nothing tells of the entry; by then it is over.
  lab.loop.after_real(200ms, [&lab, &node, starts = platform.starts] {
    if (node.platform.starts == starts && node.platform.mode == kOff) {
      node.platform.own_stamp.clear();
      nvram_changed(lab, node);
    }
  });
}

void set_mode(Lab& lab, Node& node, int mode) {
  const int before = std::exchange(node.platform.mode, mode);
  if (before != mode) {
    publish(lab, {.what = What::mode, .node = &node, .text = {}, .number = mode, .before = before});
  }
}

// A restart ends the daemon that still runs: it is given time to go by itself, then told to.
void end_daemon(Lab& lab, Node& node) {
  const auto unless_gone = [&lab, &node](Time span, int number) {
    lab.loop.after_real(span, [&node, number, starts = node.platform.starts,
                               epoch = node.radio.epoch] {
      if (node.platform.starts == starts && node.radio.epoch == epoch && node.sandbox.daemon_runs) {
        signal_daemon(node, number);
      }
    });
  };
  unless_gone(2s, SIGTERM);
  unless_gone(5s, SIGKILL);
}

// Writers take turns, so that what is saved or changed is what the last of them left.
void rewrite_nvram(Lab& lab, Node& node, const char* to,
                   const std::function<std::string(const std::string&)>& change) {
  const std::string& box = node.sandbox.folder;
  const Fd turn = lock_in_box(box, std::string(kNvram) + ".lock");
  const auto text = turn.open() ? read_in_box(box, kNvram) : std::nullopt;
  if (text) {
    put_nvram(lab, node, to, change(*text));
  } else {
    tell_torn(lab, node, std::string("its NVRAM cannot be changed: ") + strerror(errno));
  }
}

void save_nvram(Lab& lab, Node& node) {
  rewrite_nvram(lab, node, kSaved, [](const std::string& text) { return text; });
}

void finish_installation(Lab& lab, Node& node) {
  say(lab, node, "ends the installation: blank_state becomes 0, NVRAM is saved");
  set_nvram(lab, node, "blank_state", "0");
  save_nvram(lab, node);
}

void bring_up_backhaul(Lab& lab, Node& node) {
  if (node.platform.mode != 3) {
    return;
  }
  for (Node* base : all_of(lab, NodeKind::base)) {
    if (has_credentials_of(node, *base) && base->platform.mode == 5) {
      say(lab, node, "has its backhaul to " + base->name + ": map_agent_configured becomes 1");
      set_nvram(lab, node, "map_agent_configured", "1");
      later_in_this_life(lab, node, kInstallation,
                         [&lab, &node] { finish_installation(lab, node); });
      return;
    }
  }
  later_in_this_life(lab, node, 1s, [&lab, &node] { bring_up_backhaul(lab, node); });
}

}  // namespace

bool is_whole(std::string_view text) {
  return !text.empty() && text.back() == '\n' && standin::parse_values(text).count("lab_unit") == 1;
}

bool has_credentials_of(const Node& unit, const Node& base) {
  for (const auto& keys : kCredentials) {
    const std::string wanted = value_of(base.platform.factory, keys[0]);
    if (value_of(unit.platform.nvram, keys[1]) != wanted ||
        value_of(unit.platform.nvram, keys[2]) != wanted) {
      return false;
    }
  }
  return true;
}

void say(Lab& lab, Node& node, const std::string& text) {
  publish(lab, {.what = What::platform, .node = &node, .text = text});
}

void power_on(Lab& lab, Node& node) {
  if (is_powered(node)) {
    return;
  }
  publish(lab, {.what = What::power, .node = &node, .text = "is switched on", .number = 1});
  if (node.kind == NodeKind::stranger) {
    node.radio.on = true;
    return;
  }
  restore_nvram(lab, node);
  if (!open_sandbox(lab, node)) {
    publish(lab, {.what = What::fault, .node = &node, .text = "no sandbox could be started"});
    return;
  }
  radio_on(lab, node);
}

void power_off(Lab& lab, Node& node, std::function<void()> then) {
  node.platform.when_off = std::move(then);
  if (!is_powered(node)) {
    return;
  }
  const std::string& box = node.sandbox.folder;
  const bool unsaved = read_in_box(box, kNvram) != read_in_box(box, kSaved);
  publish(lab, {.what = What::power,
                .node = &node,
                .text = unsaved ? "loses power, and settings that were not saved" : "loses power",
                .number = 0});
  radio_off(node);
  node.platform.restart_wanted = false;
  owner_forgets(node);
  cut_power(node);
  set_mode(lab, node, kOff);
  if (node.sandbox.pid < 0 && node.platform.when_off) {
    std::exchange(node.platform.when_off, nullptr)();
  }
}

void set_nvram(Lab& lab, Node& node, std::string_view key, std::string_view value) {
  rewrite_nvram(lab, node, kNvram,
                [&](const std::string& text) { return standin::with_value(text, key, value); });
  node.platform.own_stamp = stamp_of(node);
  nvram_changed(lab, node);
}

void request_restart(Lab& lab, Node& node) {
  node.platform.restart_wanted = true;
  if (node.sandbox.daemon_runs) {
    end_daemon(lab, node);
  } else {
    start(lab, node);
  }
}

void agent_ready(Lab& lab, Node& node) {
  node.owner.last_stir = lab.loop.clock.now();
  start(lab, node);
}

void daemon_ended(Lab& lab, Node& node, const std::string& how) {
  Platform& platform = node.platform;
  const bool wanted = platform.restart_wanted;
  const bool crashed = how.rfind("signal", 0) == 0 && !wanted && !platform.end_expected;
  node.journey.crashes += crashed ? 1 : 0;
  publish(lab, {.what = crashed ? What::fault : What::daemon,
                .node = &node,
                .text = "the daemon ended (" + how + ")"});
  if (platform.mode != kOff || wanted || platform.end_expected) {
    platform.useless_starts = 0;
  } else if (++platform.useless_starts == 3) {
    lab.failure = "the daemon of " + node.name + " ended three times before it was in any mode (" +
                  how + "); is " + lab.options.daemon + " the daemon?";
    stop(lab, 2);
  }
  set_mode(lab, node, kOff);
  owner_forgets(node);
  const std::uint64_t starts = platform.starts;
  lab.loop.after(wanted ? 0s : kSupervisor, [&lab, &node, starts, epoch = node.radio.epoch] {
    if (node.platform.starts == starts && node.radio.epoch == epoch && is_powered(node)) {
      start(lab, node);
    }
  });
}

void nvram_changed(Lab& lab, Node& node) {
  if (!is_powered(node)) {
    return;
  }
  const std::string text = read_in_box(node.sandbox.folder, kNvram).value_or("");
  if (!is_whole(text)) {
    tell_torn(lab, node, "its NVRAM is torn");
    return;
  }
  Settings now = standin::parse_values(text);
  const Settings before = std::exchange(node.platform.nvram, now);
  for (const auto& [key, value] : now) {
    const auto old = before.find(key);
    if (old == before.end() || old->second != value) {
      publish(lab, {.what = What::nvram, .node = &node, .text = {}, .key = key, .value = value});
    }
  }
  for (const auto& [key, value] : before) {
    if (now.count(key) == 0) {
      publish(lab, {.what = What::nvram, .node = &node, .text = "removed", .key = key});
    }
  }
  // A store that only the platform has written says nothing of the daemon's mode.
  const std::string role = value_of(now, "onboarding_role");
  const bool written =
      stamp_of(node) != node.platform.own_stamp || role != value_of(before, "onboarding_role");
  if (node.sandbox.daemon_runs && role.size() == 1 && written) {
    set_mode(lab, node, role[0] - '0');
  }
}

void platform_notices(Lab& lab, const Occurrence& seen) {
  // The daemon that stored the credentials still has to restart; the one that starts in mode 3
  // stays.
  if (seen.what == What::mode && seen.node->kind == NodeKind::unit && seen.number == 3 &&
      seen.before == kOff) {
    later_in_this_life(lab, *seen.node, kBackhaulUp,
                       [&lab, node = seen.node] { bring_up_backhaul(lab, *node); });
  }
}

}  // namespace lab
