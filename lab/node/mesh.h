// The mesh: its stations and units, the air between them, and the one road on which everything that
// happens travels.
#ifndef LAB_MESH_H
#define LAB_MESH_H

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "air/radio.h"
#include "node/base_owner.h"
#include "node/frame_verdict.h"
#include "node/happening.h"
#include "node/platform.h"
#include "node/sandbox.h"
#include "node/supervisor.h"
#include "node/unit_nvram.h"

namespace lab {

enum class NodeKind { base, unit, stranger };

struct Node {
  NodeKind kind = NodeKind::unit;
  std::string name;
  Radio radio;
  Sandbox sandbox;
  UnitNvram nvram;
  Platform platform;
  Supervisor supervisor;
  Owner owner;  // a base's
  FrameVerdicts frame_verdicts;
};

struct Mesh {
  Mesh();
  Mesh(const Mesh&) = delete;
  Mesh& operator=(const Mesh&) = delete;

  BoxKit kit;
  Loop loop;
  Air air{loop};
  int file_changes = -1;                 // inotify
  std::map<int, Node*> watched_folders;  // by inotify's numbers
  Time push_after{};  // how long the list of ready units must rest before it is pushed to
  // A list, since one may arrive while somebody goes through them.
  std::list<std::unique_ptr<Node>> nodes;
  // Who learns of what happens, in this order; then platform and owners react to it.
  std::vector<std::function<void(const Happening&)>> watchers;
  std::string failure;  // of the laboratory itself, in one line
};

inline constexpr int kMaxUnits = 60;
inline constexpr int kMaxBases = 4;

// Numbers count from 1.
void add_base(Mesh& mesh, int number, std::optional<int> channel);
void add_unit(Mesh& mesh, int number);
void add_stranger(Mesh& mesh);
// That of "unit-3" is 3; 0 for any other name.
int unit_number(const std::string& name);
Mac unit_station(int number);

void publish(Mesh& mesh, Node& node, const What& what);
// The laboratory cannot go on: ends the run.
void fail(Mesh& mesh, const std::string& why);

Node* find_node(const Mesh& mesh, const std::string& name);
Node* find_station(const Mesh& mesh, const Mac& mac);
Node& node_of(const Mesh& mesh, const Radio& radio);
std::vector<Node*> all_of(const Mesh& mesh, NodeKind kind);
bool is_powered(const Node& node);

}  // namespace lab

#endif
