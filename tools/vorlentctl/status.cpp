#include "status.h"

#include <array>

#include "fingerprint.h"
#include "own_text.h"
#include "running_timers.h"
#include "vexo_nvram.h"

namespace ctl {

namespace {

constexpr const char* kOwnKeyFile = "/tmp/rsa_pub.pem";

constexpr std::array<const char*, 7> kModes{"un-configured, looks for a base",
                                            "un-configured, speaks with a base",
                                            "temporary router",
                                            "temporary satellite",
                                            "temporary satellite, backhaul over Ethernet",
                                            "base",
                                            "satellite"};

std::optional<int> current_mode() {
  const std::string role = vexoNvramConfig_get("onboarding_role");
  return role.size() == 1 && role[0] >= '0' && role[0] <= '6' ? std::optional(role[0] - '0')
                                                              : std::nullopt;
}

std::string awaited_by_unit(const Status& status, const Story& story) {
  if (status.seconds_left) {
    return "the owner's approval at the base, for " + std::to_string(*status.seconds_left) +
           " s more";
  }
  return story.sent == 1002 ? "the base to take its key" : "the base to answer its greeting";
}

std::string awaited_by_base(const Status& status) {
  int waiting = 0;
  for (const Candidate& candidate : read_candidates()) {
    waiting += candidate.approved ? 0 : 1;
  }
  const bool push = waiting == 0 && !read_candidates().empty();
  if (push) {
    return "approve, which sends the credentials to the units that are approved";
  }
  return waiting == 0 || !is_base(status.mode)
             ? ""
             : "the owner's approval of " + std::to_string(waiting) +
                   (waiting == 1 ? " unit" : " units");
}

std::string awaited(const Status& status, const Story& story) {
  switch (status.mode.value_or(-1)) {
    case 0:
      return vexoNvramConfig_match("sat_onboarding", "1") != 0
                 ? "a base whose window is open"
                 : "a restart: the search has ended after 30 minutes";
    case 1:
      return awaited_by_unit(status, story);
    case 3:
    case 4:
      return vexoNvramConfig_match("map_agent_configured", "1") != 0 ? "the end of its installation"
                                                                     : "its backhaul";
    case 2:
    case 5:
      return awaited_by_base(status);
    default:
      return "";
  }
}

// The file of those that are ready is the daemon's word; the log is what else there is to know.
std::vector<Station> stations_of(const Story& story) {
  std::vector<Station> out = story.stations;
  for (const Candidate& candidate : read_candidates()) {
    bool known = false;
    for (Station& station : out) {
      known = known || station.address == candidate.address;
      station.stage = station.address == candidate.address ? 5 : station.stage;
    }
    if (!known) {
      out.push_back({candidate.address, 5});
    }
  }
  return out;
}

}  // namespace

const char* mode_in_words(std::optional<int> mode) {
  return mode ? kModes.at(static_cast<std::size_t>(*mode)) : "none yet";
}

const char* stage_in_words(int stage) {
  switch (stage) {
    case 0:
      return "has asked to join";
    case 1:
      return "has greeted";
    case 2:
      return "has been sent our key";
    default:
      return "is ready for its credentials";
  }
}

bool is_base(std::optional<int> mode) {
  const int number = mode.value_or(-1);
  return number == 2 || number == 5;
}

Status read_status(std::optional<pid_t> daemon) {
  Status status;
  status.daemon = daemon;
  status.mode = current_mode();
  if (!daemon) {
    return status;
  }
  const Story story = read_story(read_log());
  const bool opened =
      is_base(status.mode) && vexoNvramConfig_match("onboarding_active_state", "2") != 0;
  if (opened || status.mode == 1) {
    status.seconds_left = seconds_left(*daemon);
  }
  status.window_open = opened && status.seconds_left;  // a killed daemon leaves the setting behind
  if (is_base(status.mode)) {
    status.stations = stations_of(story);
  }
  if (is_base(status.mode) || status.mode == 1) {
    status.fingerprint = fingerprint(read_own(kOwnKeyFile));
  }
  status.waits_for = awaited(status, story);
  return status;
}

}  // namespace ctl
