#include "node/unit_nvram.h"

#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>

#include "base/box_files.h"
#include "node/mesh.h"

namespace lab {

namespace {

constexpr char kNvram[] = "tmp/vexo_nvram";
constexpr char kSaved[] = "tmp/vexo_nvram.saved";

const char* const kCredentials[][3] = {{"bh_ssid", "wl1_ssid", "wlg_b_ssid"},
                                       {"bh_wpa_psk", "wl1_wpa_psk", "wlg_b_wpa_psk"},
                                       {"bh_crypto", "wl1_crypto", "wlg_b_crypto"},
                                       {"bh_akm", "wl1_akm", "wlg_b_akm"}};

// Which file the NVRAM is at the moment: every writer replaces it.
std::string stamp_of(const Node& node) {
  struct stat status {};
  lstat((node.sandbox.folder + "/" + kNvram).c_str(), &status);
  return std::to_string(status.st_ino) + " " + std::to_string(status.st_mtim.tv_sec) + " " +
         std::to_string(status.st_mtim.tv_nsec);
}

void write_text(Mesh& mesh, Node& node, const char* file, std::string_view text) {
  if (!replace_in_box(node.sandbox.folder, file, text)) {
    publish(mesh, node, NvramTorn{std::string("its NVRAM cannot be written: ") + strerror(errno)});
  }
}

// Writers take turns, so that what is saved or changed is what the last of them left.
void rewrite(Mesh& mesh, Node& node, const char* to,
             const std::function<std::string(const std::string&)>& change) {
  const std::string& box = node.sandbox.folder;
  const UniqueFd turn = lock_in_box(box, std::string(kNvram) + ".lock");
  const auto text = turn.open() ? read_in_box(box, kNvram) : std::nullopt;
  if (text) {
    write_text(mesh, node, to, change(*text));
  } else {
    publish(mesh, node, NvramTorn{std::string("its NVRAM cannot be changed: ") + strerror(errno)});
  }
}

}  // namespace

std::string value_of(const Settings& settings, std::string_view key) {
  const auto found = settings.find(key);
  return found == settings.end() ? "" : found->second;
}

bool is_whole(std::string_view text) {
  return !text.empty() && text.back() == '\n' && standin::parse_values(text).count("lab_unit") == 1;
}

void restore_nvram(Mesh& mesh, Node& node) {
  std::string text = standin::format_values(node.nvram.factory);
  if (!node.nvram.first_boot) {
    text = read_in_box(node.sandbox.folder, kSaved).value_or("");
    if (!is_whole(text)) {
      publish(mesh, node, NvramTorn{"its saved NVRAM is torn"});
    }
  }
  for (const auto& entry : std::filesystem::directory_iterator(tmp_of(node.sandbox))) {
    std::error_code ignored;
    std::filesystem::remove_all(entry, ignored);
  }
  write_text(mesh, node, kSaved, text);
  text = standin::with_value(text, "map_agent_configured", "0");
  write_text(mesh, node, kNvram, text);
  node.nvram.own_stamp = stamp_of(node);
  node.nvram.settings = standin::parse_values(text);
  node.nvram.first_boot = false;
}

void change_nvram(Mesh& mesh, Node& node, std::string_view key, std::string_view value) {
  rewrite(mesh, node, kNvram,
          [&](const std::string& text) { return standin::with_value(text, key, value); });
  node.nvram.own_stamp = stamp_of(node);
}

void save_nvram(Mesh& mesh, Node& node) {
  rewrite(mesh, node, kSaved, [](const std::string& text) { return text; });
}

bool has_unsaved(const Node& node) {
  const std::string& box = node.sandbox.folder;
  return read_in_box(box, kNvram) != read_in_box(box, kSaved);
}

bool read_nvram(Mesh& mesh, Node& node) {
  const std::string text = read_in_box(node.sandbox.folder, kNvram).value_or("");
  if (!is_whole(text)) {
    publish(mesh, node, NvramTorn{"its NVRAM is torn"});
    return false;
  }
  const Settings now = standin::parse_values(text);
  const Settings before = std::exchange(node.nvram.settings, now);
  for (const auto& [key, value] : now) {
    const auto old = before.find(key);
    if (old == before.end() || old->second != value) {
      publish(mesh, node, NvramSet{key, value});
    }
  }
  for (const auto& [key, value] : before) {
    if (now.count(key) == 0) {
      publish(mesh, node, NvramSet{key, std::nullopt});
    }
  }
  return true;
}

bool is_foreign(const Node& node) {
  return stamp_of(node) != node.nvram.own_stamp;
}

bool has_credentials_of(const Node& unit, const Node& base) {
  return std::all_of(std::begin(kCredentials), std::end(kCredentials), [&](const auto& keys) {
    const std::string wanted = value_of(base.nvram.factory, keys[0]);
    return value_of(unit.nvram.settings, keys[1]) == wanted &&
           value_of(unit.nvram.settings, keys[2]) == wanted;
  });
}

}  // namespace lab
