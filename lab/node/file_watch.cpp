#include "node/file_watch.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <set>
#include <utility>

#include "base/box_files.h"
#include "node/mesh.h"

namespace lab {

namespace {

bool watch(Mesh& mesh, Node& node, const char* folder, std::uint32_t mask) {
  const std::string path = node.sandbox.folder + folder;
  const int number = inotify_add_watch(mesh.file_changes, path.c_str(), mask);
  mesh.watched_folders[number] = &node;
  return number >= 0;
}

bool is_same_file(const UniqueFd& a, const UniqueFd& b) {
  struct stat first {};
  struct stat second {};
  return fstat(a.get(), &first) == 0 && fstat(b.get(), &second) == 0 &&
         first.st_ino == second.st_ino;
}

// Publishes the lines that have come to the open log.
void read_lines(Mesh& mesh, Node& node) {
  std::string text;
  std::string& line = node.sandbox.log_line;
  if (node.sandbox.log.open() && standin::read_all(node.sandbox.log, kMaxBoxFile, text)) {
    for (const char c : text) {
      if (c != '\n') {
        line += c;
      } else {
        publish(mesh, node, Logged{std::exchange(line, {})});
      }
    }
  }
}

void read_file_changes(Mesh& mesh) {
  alignas(inotify_event) std::array<char, 16384> buffer{};
  const ssize_t length = read(mesh.file_changes, buffer.data(), buffer.size());
  std::set<std::pair<Node*, std::string>> changed;
  for (ssize_t at = 0; at < length;) {
    const auto* event =
        reinterpret_cast<const inotify_event*>(&buffer[static_cast<std::size_t>(at)]);
    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    const auto folder = mesh.watched_folders.find(event->wd);
    if (folder != mesh.watched_folders.end() && event->len > 0) {
      changed.insert({folder->second, static_cast<const char*>(event->name)});
    }
  }
  for (const auto& [node, file] : changed) {
    if (file == "vexo_nvram") {
      nvram_changed(mesh, *node);
    } else if (file == "vexo_onborading.json" && node->kind == NodeKind::base) {
      candidates_changed(mesh, *node);
    } else if (file == "vorlent_dbg.log") {
      read_log(mesh, *node);
    }
  }
}

}  // namespace

void begin_watching(Mesh& mesh) {
  mesh.file_changes = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  mesh.loop.watch(mesh.file_changes, [&mesh] { read_file_changes(mesh); });
}

bool watch_files(Mesh& mesh, Node& node) {
  return watch(mesh, node, "/tmp", IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE) &&
         watch(mesh, node, "/lab/log", IN_MODIFY);
}

// A full log is moved away and begun anew; what had come to the old one is read first.
void read_log(Mesh& mesh, Node& node) {
  read_lines(mesh, node);
  UniqueFd current = open_in_box(node.sandbox.folder, kLog, O_RDONLY);
  if (current.open() && !is_same_file(current, node.sandbox.log)) {
    node.sandbox.log = std::move(current);
    read_lines(mesh, node);
  }
}

}  // namespace lab
