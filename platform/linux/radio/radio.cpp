#include "radio.h"

#include <net/if.h>
#include <sys/socket.h>

#include <cstring>

#include "journal.h"

namespace radio {

namespace {

constexpr std::chrono::milliseconds kLook{1000};

// One for each radio.
std::string monitor_name(const Radio& radio) {
  return "vmonitor" + std::to_string(radio.interface.phy);
}

void drop_monitor(Radio& radio) {
  radio.monitor.close();
  radio.kernel.remove(monitor_name(radio).c_str());
}

// It is tried again with each look, and said once.
void open_monitor(Radio& radio) {
  const std::string name = monitor_name(radio);
  std::string why;
  radio.kernel.remove(name.c_str());  // what a service that was killed has left
  if (const int added = radio.kernel.add_monitor(name.c_str())) {
    why = strerror(-added);
  } else if (const int up = set_up(name, true)) {
    why = strerror(-up);
  } else if (radio.monitor.open(name.c_str(), why)) {
    radio.monitor_refused = false;
    return;
  }
  if (!radio.monitor_refused) {
    say("no monitor interface beside the access point, so nothing is heard: %s", why.c_str());
  }
  radio.monitor_refused = true;
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

void follow_access_point(Radio& radio) {
  if (!radio.interface.access_point) {
    radio.hostapd.detach();
    if (radio.monitor.is_open()) {
      drop_monitor(radio);
    }
    return;
  }
  const Places& places = radio.places;
  if (radio.hostapd.renewed(places.hostapd + "/" + places.interface, folder_of(places.socket))) {
    const std::vector<std::uint8_t> shown = on_air(radio.elements, kInBeacons | kInProbeResponses);
    const bool set = shown.empty() || radio.hostapd.set_elements(shown);
    say("the access point is up%s", set ? "" : "; it refuses the elements");
  }
  if (!radio.monitor.is_open()) {
    open_monitor(radio);
  }
}

void look_at_interface(Radio& radio) {
  const bool was_access_point = radio.interface.access_point;
  const std::optional<Interface> found = radio.kernel.interface();
  radio.gone = !found && if_nametoindex(radio.places.interface.c_str()) == 0;
  if (!found) {
    return;
  }
  radio.interface = *found;
  if (was_access_point && !radio.interface.access_point) {
    radio.kernel.listen_for_actions();  // the kernel forgets it with the change
  }
  follow_access_point(radio);
}

}  // namespace

bool open(Radio& radio, std::string& why) {
  const std::string& interface = radio.places.interface;
  radio.daemon = UniqueFd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!radio.kernel.open(interface, why)) {
    return false;
  }
  if (const int up = set_up(interface, true)) {
    why = interface + ": cannot be brought up: error " + std::to_string(-up);
    return false;
  }
  look_after(radio);
  if (!radio.interface.access_point && radio.kernel.listen_for_actions() != 0) {
    why = interface + ": the kernel hands no action frames over; does another program take them?";
    return false;
  }
  return true;
}

void close(Radio& radio) {
  if (radio.hostapd.attached() && !on_air(radio.elements, kInBeacons | kInProbeResponses).empty()) {
    radio.hostapd.set_elements({});
  }
  stop(radio.staying, radio.kernel);
  drop_monitor(radio);
}

void look_after(Radio& radio) {
  const Clock::time_point now = Clock::now();
  if (now >= radio.next_look) {
    radio.next_look = now + kLook;
    look_at_interface(radio);
  }
  look_after(radio.staying, radio.kernel);
  look_after(radio.sendings, radio.kernel);
}

Clock::time_point next_due(const Radio& radio) {
  return next_due(radio.sendings, next_due(radio.staying, radio.next_look));
}

}  // namespace radio
