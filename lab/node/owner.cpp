#include "node/owner.h"

#include <cjson/cJSON.h>
#include <signal.h>

#include <algorithm>
#include <utility>

#include "base/box_files.h"
#include "lab.h"

namespace lab {

namespace {

constexpr Time kWindow = 60s;
constexpr Time kQuiet = 40s;        // longer than any handshake that still gets somewhere
constexpr std::size_t kTable = 15;  // what a base's table holds

// Units that this base may yet hear from before it pushes.
std::size_t expected_units(Lab& lab, const Node& base) {
  std::size_t count = 0;
  for (const Node* unit : all_of(lab, NodeKind::unit)) {
    const std::string station = text_of(unit->radio.mac);
    bool elsewhere = base.owner.pushed.count(station) != 0;
    for (const Node* other : all_of(lab, NodeKind::base)) {
      elsewhere = elsewhere || (other != &base && other->owner.ready.count(station) != 0);
    }
    const bool done = unit->platform.mode == 6 || unit->platform.mode == 3;
    count += is_powered(*unit) && !done && !elsewhere ? 1 : 0;
  }
  return count;
}

bool all_installed(Lab& lab) {
  const auto units = all_of(lab, NodeKind::unit);
  return std::all_of(units.begin(), units.end(),
                     [](const Node* unit) { return unit->platform.mode == 6; });
}

std::string units_text(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " unit" : " units");
}

bool shall_push(Lab& lab, const Node& base) {
  const Owner& owner = base.owner;
  const Time rested = lab.loop.clock.now() - owner.ready_changed;
  const bool complete =
      owner.ready.size() >= expected_units(lab, base) || owner.ready.size() >= kTable;
  return owner.automatic && !owner.ready.empty() &&
         rested >= (complete ? lab.scenario.push_after : kQuiet);
}

void tick(Lab& lab, Node& base) {
  Owner& owner = base.owner;
  const Time now = lab.loop.clock.now();
  if (base.platform.mode != 5 || !base.sandbox.daemon_runs || all_installed(lab)) {
    return;
  }
  if (shall_push(lab, base)) {
    push(lab, base);
    return;
  }
  if (now + 2s >= owner.window_until) {
    if (owner.automatic && owner.ready.empty() && now - owner.last_stir > 2 * kWindow) {
      push(lab, base);  // nobody is ready: this frees the table of those who never finish
    }
    request_window(lab, base);
  }
}

}  // namespace

void request_window(Lab& lab, Node& base) {
  say(lab, base, "asks for an onboarding window: onboarding_soap_active becomes 1");
  base.owner.window_until = lab.loop.clock.now() + kWindow;
  set_nvram(lab, base, "onboarding_soap_active", "1");
}

void push(Lab& lab, Node& base) {
  std::string list;
  for (const std::string& station : base.owner.ready) {
    const auto mac = parse_mac(station);
    const Node* unit = mac ? find_station(lab, *mac) : nullptr;
    if (unit != nullptr && unit->kind == NodeKind::unit) {
      list += (list.empty() ? "" : " ") + station;
      base.owner.pushed.insert(station);
    }
  }
  const auto count = list.empty() ? 0 : std::count(list.begin(), list.end(), ' ') + 1;
  say(lab, base,
      "approves " + units_text(static_cast<std::size_t>(count)) +
          " and has the credentials pushed: SIGUSR1");
  base.owner.last_stir = lab.loop.clock.now();
  set_nvram(lab, base, "candidate_satellites", list);
  signal_daemon(base, SIGUSR1);
}

void candidates_changed(Lab& lab, Node& base) {
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
    say(lab, base, "reads the candidate file: " + units_text(ready.size()) + " ready");
  }
  base.owner.ready = std::move(ready);
  base.owner.ready_changed = lab.loop.clock.now();
  base.owner.last_stir = base.owner.ready_changed;
  tick(lab, base);
}

void tick_owners(Lab& lab) {
  for (Node* base : all_of(lab, NodeKind::base)) {
    tick(lab, *base);
  }
}

void owner_notices(Lab& lab, const Occurrence& seen) {
  if (seen.what != What::mode) {
    return;
  }
  if (seen.node->kind == NodeKind::base) {
    tick(lab, *seen.node);
    return;
  }
  for (Node* base : all_of(lab, NodeKind::base)) {
    if (seen.number == 0) {
      base->owner.pushed.erase(text_of(seen.node->radio.mac));
    } else if (seen.number == 1) {
      base->owner.last_stir = seen.time;
    }
  }
}

void owner_forgets(Node& base) {
  base.owner.ready.clear();
  base.owner.window_until = {};
}

}  // namespace lab
