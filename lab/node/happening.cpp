#include "node/happening.h"

#include <algorithm>

#include "node/mesh.h"

namespace lab {

namespace {

struct InWords {
  std::string operator()(const Unserved& unserved) const {
    return "does not serve " + std::to_string(unserved.operation) + " of " + unserved.from->name +
           ": " + unserved.why;
  }
  std::string operator()(const TableFull& /*none*/) const {
    return "its table is full: who asks now gets no row before the next push";
  }
  std::string operator()(const CommandRun& run) const { return run.line; }
  std::string operator()(const Arrived& /*none*/) const { return "arrives"; }
  std::string operator()(const Tuned& tuned) const {
    return "is on channel " + std::to_string(tuned.channel);
  }
  std::string operator()(const PowerSwitched& power) const {
    return power.on        ? "is switched on"
           : power.unsaved ? "loses power, and settings that were not saved"
                           : "loses power";
  }
  std::string operator()(const DaemonStarted& /*none*/) const { return "the daemon starts"; }
  std::string operator()(const DaemonEnded& end) const {
    return "the daemon ended (" + end.how + ")";
  }
  std::string operator()(const PlatformActed& act) const { return act.what; }
  std::string operator()(const DirectorActed& act) const { return act.what; }
  std::string operator()(const NvramTorn& torn) const { return torn.what; }
  std::string operator()(const Fault& fault) const { return fault.what; }
  template <typename Other>
  std::string operator()(const Other& /*has none*/) const {
    return {};
  }
};

}  // namespace

bool FrameSent::missed() const {
  const auto& heard = frame.receptions;
  const bool all_lost =
      std::all_of(heard.begin(), heard.end(), [](const Reception& each) { return each.fate.lost; });
  return !frame.elsewhere.empty() || (all_lost && !heard.empty());
}

std::string words_of(const What& what) {
  return std::visit(InWords{}, what);
}

}  // namespace lab
