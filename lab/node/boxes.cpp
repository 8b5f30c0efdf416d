#include "node/boxes.h"

#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <map>
#include <set>
#include <utility>

#include "node/mesh.h"

namespace lab {

namespace {

using WatchedNodes = std::map<int, Node*>;

void read_file_changes(Mesh& mesh, int inotify, const WatchedNodes& watched) {
  alignas(inotify_event) std::array<char, 16384> buffer{};
  const ssize_t length = read(inotify, buffer.data(), buffer.size());
  std::set<std::pair<Node*, std::string>> changed;
  for (ssize_t at = 0; at < length;) {
    const auto* event =
        reinterpret_cast<const inotify_event*>(&buffer[static_cast<std::size_t>(at)]);
    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    const auto node = watched.find(event->wd);
    if (node != watched.end() && event->len > 0) {
      changed.insert({node->second, static_cast<const char*>(event->name)});
    }
  }
  for (const auto& [node, file] : changed) {
    if (file == "vexo_nvram") {
      nvram_changed(mesh, *node);
    } else if (file == "vexo_onborading.json" && node->kind == NodeKind::base) {
      candidates_changed(mesh, *node);
    }
  }
}

void box_ended(Mesh& mesh, Node& node) {
  sandbox_closed(mesh.loop, node.sandbox);
  if (is_powered(node)) {
    const std::string why = last_words(node.sandbox);
    fail(mesh,
         "the sandbox of " + node.name + " ended by itself" + (why.empty() ? "" : ": " + why));
  }
  if (const auto then = std::exchange(node.platform.when_off, nullptr)) {
    then();
  }
}

}  // namespace

bool prepare_boxes(Mesh& mesh) {
  const int inotify = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  WatchedNodes watched;
  for (const auto& node : mesh.nodes) {
    if (node->kind == NodeKind::stranger) {
      continue;
    }
    if (!make_folders(node->sandbox)) {
      return false;
    }
    const int watch = inotify_add_watch(inotify, tmp_of(node->sandbox).c_str(),
                                        IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE);
    if (watch < 0) {
      return false;
    }
    watched[watch] = node.get();
  }
  mesh.loop.watch(inotify,
                  [&mesh, inotify, watched] { read_file_changes(mesh, inotify, watched); });
  return true;
}

void collect_boxes(Mesh& mesh) {
  for (pid_t pid = waitpid(-1, nullptr, WNOHANG); pid > 0; pid = waitpid(-1, nullptr, WNOHANG)) {
    for (const auto& node : mesh.nodes) {
      if (node->sandbox.pid == pid) {
        box_ended(mesh, *node);
      }
    }
  }
}

void end_boxes(Mesh& mesh) {
  for (const auto& node : mesh.nodes) {
    node->platform.when_off = nullptr;
    cut_power(node->sandbox);
  }
  for (const auto& node : mesh.nodes) {
    if (node->sandbox.pid > 0) {
      waitpid(node->sandbox.pid, nullptr, 0);
    }
  }
}

}  // namespace lab
