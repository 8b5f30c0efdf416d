#include "node/base_owner.h"

#include <cjson/cJSON.h>
#include <signal.h>

#include <algorithm>
#include <utility>

#include "base/box_files.h"
#include "node/mesh.h"

namespace lab {

namespace {

constexpr Time kWindow = 60s;
constexpr Time kQuiet = 40s;        // longer than a unit tries to get one answer
constexpr std::size_t kTable = 15;  // what a base's table holds

// Units that this base may yet hear from before it pushes.
std::size_t expected_units(Mesh& mesh, const Node& base) {
  std::size_t count = 0;
  for (const Node* unit : all_of(mesh, NodeKind::unit)) {
    const std::string station = text_of(unit->radio.mac);
    bool elsewhere = base.owner.pushed.count(station) != 0;
    for (const Node* other : all_of(mesh, NodeKind::base)) {
      elsewhere = elsewhere || (other != &base && other->owner.ready.count(station) != 0);
    }
    const bool done = unit->platform.mode == 6 || unit->platform.mode == 3;
    count += is_powered(*unit) && !done && !elsewhere ? 1 : 0;
  }
  return count;
}

bool all_installed(Mesh& mesh) {
  const auto units = all_of(mesh, NodeKind::unit);
  return std::all_of(units.begin(), units.end(),
                     [](const Node* unit) { return unit->platform.mode == 6; });
}

std::string units_text(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " unit" : " units");
}

// Of those that are ready, who gets credentials at a push.
std::vector<std::string> approved_of(const Mesh& mesh, const Owner& owner) {
  std::vector<std::string> list;
  for (const std::string& station : owner.ready) {
    const auto mac = parse_mac(station);
    const Node* unit = mac ? find_station(mesh, *mac) : nullptr;
    if (unit != nullptr && unit->kind == NodeKind::unit &&
        (!owner.approved || owner.approved->count(station) != 0)) {
      list.push_back(station);
    }
  }
  return list;
}

template <typename List>
std::string with_blanks(const List& list) {
  std::string text;
  for (const std::string& word : list) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

bool shall_push(Mesh& mesh, const Node& base) {
  const Owner& owner = base.owner;
  const Time rested = mesh.loop.clock.now() - owner.ready_changed;
  const bool complete =
      owner.ready.size() >= expected_units(mesh, base) || owner.ready.size() >= kTable;
  return owner.automatic && !approved_of(mesh, owner).empty() &&
         rested >= (complete ? mesh.push_after : kQuiet);
}

void tick(Mesh& mesh, Node& base) {
  Owner& owner = base.owner;
  const Time now = mesh.loop.clock.now();
  if (base.platform.mode != 5 || !base.sandbox.daemon_runs || all_installed(mesh)) {
    return;
  }
  if (shall_push(mesh, base)) {
    push(mesh, base);
    return;
  }
  if (owner.opens_windows && now + 2s >= owner.window_until) {
    if (owner.automatic && owner.ready.empty() && now - owner.last_stir > 2 * kWindow) {
      push(mesh, base);  // nobody is ready: this frees the table of those who never finish
    }
    request_window(mesh, base);
  }
}

}  // namespace

void request_window(Mesh& mesh, Node& base) {
  say(mesh, base, "asks for an onboarding window: vorlentctl open");
  base.owner.window_until = mesh.loop.clock.now() + kWindow;
  set_nvram(mesh, base, "onboarding_soap_active", "1");
}

void push(Mesh& mesh, Node& base) {
  const auto list = approved_of(mesh, base.owner);
  base.owner.pushed.insert(list.begin(), list.end());
  say(mesh, base,
      "approves " + units_text(list.size()) + " and pushes the credentials" +
          (list.empty() ? ": SIGUSR1" : ": vorlentctl approve"));
  base.owner.last_stir = mesh.loop.clock.now();
  set_nvram(mesh, base, "candidate_satellites", with_blanks(list));
  signal_daemon(base.sandbox, SIGUSR1);
}

void approve(Mesh& mesh, Node& base, const std::optional<Mac>& station) {
  auto& approved = base.owner.approved;
  if (!station) {
    approved.reset();
    return;
  }
  approved = approved.value_or(std::set<std::string>{});
  approved->insert(text_of(*station));
  set_nvram(mesh, base, "candidate_satellites", with_blanks(*approved));
}

void candidates_changed(Mesh& mesh, Node& base) {
  std::set<std::string> ready;
  const auto text = read_in_box(base.sandbox.folder, "tmp/vexo_onborading.json");
  cJSON* document = text ? cJSON_Parse(text->c_str()) : nullptr;
  const cJSON* candidate = nullptr;
  cJSON_ArrayForEach(candidate, cJSON_GetObjectItem(document, "candidates")) {
    const char* mac = cJSON_GetStringValue(cJSON_GetObjectItem(candidate, "mac"));
    ready.insert(mac != nullptr ? mac : "");
  }
  const bool half_written = text && document == nullptr;
  cJSON_Delete(document);
  if (half_written || ready == base.owner.ready) {
    return;
  }
  if (ready.size() > base.owner.ready.size()) {
    say(mesh, base, "reads the candidate file: " + units_text(ready.size()) + " ready");
  }
  base.owner.ready = std::move(ready);
  base.owner.ready_changed = mesh.loop.clock.now();
  base.owner.last_stir = base.owner.ready_changed;
  tick(mesh, base);
}

void tick_owners(Mesh& mesh) {
  for (Node* base : all_of(mesh, NodeKind::base)) {
    tick(mesh, *base);
  }
}

void owner_notices(Mesh& mesh, const Node& node, const ModeEntered& entered) {
  for (Node* base : all_of(mesh, NodeKind::base)) {
    if (base == &node) {
      tick(mesh, *base);
    } else if (node.kind == NodeKind::unit && entered.mode == 0) {
      base->owner.pushed.erase(text_of(node.radio.mac));
    } else if (node.kind == NodeKind::unit && entered.mode == 1) {
      base->owner.last_stir = mesh.loop.clock.now();
    }
  }
}

void owner_forgets(Node& base) {
  base.owner.ready.clear();
  base.owner.window_until = {};
}

}  // namespace lab
