#include "node/mesh.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace lab {

namespace {

std::string hex_of(std::uint64_t value) {
  std::array<char, 20> text{};
  snprintf(text.data(), text.size(), "%08x", static_cast<unsigned>(value));
  return text.data();
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

// Each has four pairs for itself where the store has enough, and others with another seed.
int first_pair_of(const Mesh& mesh) {
  const std::uint64_t first = mesh.air.settings.seed * 61 + mesh.nodes.size();
  return static_cast<int>(first * 4 % static_cast<unsigned>(std::max(1, mesh.kit.pairs)));
}

Node& add_node(Mesh& mesh, NodeKind kind, const std::string& name, Mac mac) {
  Node& node = *mesh.nodes.emplace_back(std::make_unique<Node>());
  node.kind = kind;
  node.name = name;
  node.radio.mac = mac;
  node.sandbox.folder = box_folder(mesh.kit, name);
  node.sandbox.first_pair = first_pair_of(mesh);
  serve_box(mesh, node);
  mesh.air.radios.push_back(&node.radio);
  return node;
}

template <typename Predicate>
Node* find(const Mesh& mesh, Predicate is) {
  const auto found = std::find_if(mesh.nodes.begin(), mesh.nodes.end(),
                                  [&](const auto& node) { return is(*node); });
  return found != mesh.nodes.end() ? found->get() : nullptr;
}

}  // namespace

Mesh::Mesh() {
  air.on_sent = [this](const Transmission& frame) {
    publish(*this, node_of(*this, *frame.from),
            FrameSent{frame, find_station(*this, frame.frame.to)});
  };
  air.on_tuned = [this](Radio& radio) {
    publish(*this, node_of(*this, radio), Tuned{radio.channel});
  };
  air.on_told = [this](Radio& radio, const Told& told) {
    Node& node = node_of(*this, radio);
    const Node* from = told.from != nullptr ? &node_of(*this, *told.from) : nullptr;
    // What a stranger forged is no step of the unit's way in.
    const bool forged = from != nullptr && from->kind == NodeKind::stranger;
    deliver(node.sandbox, told.datagram);
    publish(*this, node, DriverTold{told.datagram, from, forged ? 0 : told.operation, told.frame});
  };
}

void add_base(Mesh& mesh, int number, std::optional<int> channel) {
  constexpr std::array<int, kMaxBases> channels{6, 36, 11, 1};
  const std::string name = number == 1 ? "base" : "base-" + std::to_string(number);
  Node& base = add_node(mesh, NodeKind::base, name,
                        {0x02, 0xba, 0x5e, 0, 0, static_cast<std::uint8_t>(number)});
  base.radio.access_point = true;
  base.radio.ssid = "home-" + std::to_string(number);
  base.radio.channel = channel.value_or(channels[static_cast<std::size_t>(number - 1)]);
  base.nvram.factory = base_factory(name, number, mesh.air.settings.seed);
}

void add_unit(Mesh& mesh, int number) {
  const std::string name = "unit-" + std::to_string(number);
  Node& unit = add_node(mesh, NodeKind::unit, name, unit_station(number));
  unit.nvram.factory = unit_factory(name);
}

int unit_number(const std::string& name) {
  int number = 0;
  const char* end = name.data() + name.size();
  const bool good = name.rfind("unit-", 0) == 0 &&
                    std::from_chars(name.data() + 5, end, number).ptr == end && number >= 1 &&
                    number <= kMaxUnits;
  return good && name == "unit-" + std::to_string(number) ? number : 0;  // unit-01 is none
}

Mac unit_station(int number) {
  return {0x02, 0xa7, 0, 0, 0, static_cast<std::uint8_t>(number)};
}

void add_stranger(Mesh& mesh) {
  add_node(mesh, NodeKind::stranger, "stranger", {0x02, 0x66, 0x66, 0x66, 0x66, 0x66});
}

void publish(Mesh& mesh, Node& node, const What& what) {
  const Happening seen{mesh.loop.clock.now(), node, what};
  for (const auto& watch : mesh.watchers) {
    watch(seen);
  }
  if (const auto* entered = seen.as<ModeEntered>()) {
    platform_notices(mesh, node, *entered);
    owner_notices(mesh, node, *entered);
    if (entered->mode <= 1) {
      forget_sent(mesh.air, node.radio);
    }
  }
  frame_verdict_notices(mesh, seen);
}

void fail(Mesh& mesh, const std::string& why) {
  mesh.failure = why;
  mesh.loop.stop();
}

Node* find_node(const Mesh& mesh, const std::string& name) {
  return find(mesh, [&](const Node& node) { return node.name == name; });
}

Node* find_station(const Mesh& mesh, const Mac& mac) {
  return find(mesh, [&](const Node& node) { return node.radio.mac == mac; });
}

Node& node_of(const Mesh& mesh, const Radio& radio) {
  return *find(mesh, [&](const Node& node) { return &node.radio == &radio; });
}

std::vector<Node*> all_of(const Mesh& mesh, NodeKind kind) {
  std::vector<Node*> found;
  for (const auto& node : mesh.nodes) {
    if (node->kind == kind) {
      found.push_back(node.get());
    }
  }
  return found;
}

bool is_powered(const Node& node) {
  return node.radio.on;
}

}  // namespace lab
