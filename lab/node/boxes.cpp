#include "node/boxes.h"

#include <sys/wait.h>

#include <algorithm>
#include <utility>

#include "node/file_watch.h"
#include "node/mesh.h"

namespace lab {

namespace {

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
  begin_watching(mesh);
  return std::all_of(mesh.nodes.begin(), mesh.nodes.end(),
                     [&](const auto& node) { return prepare_box(mesh, *node); });
}

bool prepare_box(Mesh& mesh, Node& node) {
  return node.kind == NodeKind::stranger || (make_folders(node.sandbox) && watch_files(mesh, node));
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
