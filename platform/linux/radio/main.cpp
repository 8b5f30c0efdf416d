// The service that owns a unit's radio and speaks with the daemon as its driver would.
//
//   vorlent-radio [--interface INTERFACE] [--socket PATH] [--hostapd FOLDER]
//
// It runs in the foreground and is ready when its socket is there. The interface may be a station's
// or an access point's, and change from one to the other while the service runs.
#include <poll.h>
#include <signal.h>

#include "../run_service.h"
#include "journal.h"
#include "radio.h"
#include "vexo_nvram.h"

namespace {

volatile sig_atomic_t told_to_end = 0;

void end_soon(int /*signal*/) {
  told_to_end = 1;
}

int wait_until(radio::Clock::time_point then) {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  const auto left = duration_cast<milliseconds>(then - radio::Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left + 1, 0, 1000));
}

void turn(radio::Radio& radio, radio::RequestSocket& requests) {
  std::vector<pollfd> wanted{{requests.fd(), POLLIN, 0},
                             {radio.kernel.event_fd(), POLLIN, 0},
                             {radio.monitor.fd(), POLLIN, 0}};
  for (const UniqueFd& client : requests.clients()) {
    wanted.push_back({client.get(), POLLIN, 0});
  }
  if (poll(wanted.data(), wanted.size(), wait_until(radio::next_due(radio))) < 0) {
    return;
  }
  if (wanted[1].revents != 0) {
    radio.kernel.read_events([&](const radio::Notification& it) { radio::noticed(radio, it); });
  }
  if (wanted[2].revents != 0 && !radio.monitor.read([&](radio::View packet) {
        if (const auto received = radio::strip_radiotap(packet)) {
          radio::heard(radio, received->frame, received->frequency);
        }
      })) {
    radio.monitor.close();
  }
  for (std::size_t i = 3; i < wanted.size(); ++i) {
    if (wanted[i].revents != 0) {
      requests.read(wanted[i].fd, [&](UniqueFd client, std::string_view message) {
        radio::serve(radio, std::move(client), message);
      });
    }
  }
  if (wanted[0].revents != 0) {
    requests.accept();
  }
  radio::look_after(radio);
}

std::string usual_interface() {
  const std::string named = vexoNvramConfig_get("wl0_ifname");
  return named.empty() ? "wlan0" : named;
}

int run(const radio::Places& places) {
  struct sigaction action {};
  action.sa_handler = end_soon;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  radio::Radio radio;
  radio.places = places;
  radio::RequestSocket requests;
  std::string why;
  if (!radio::open(radio, why) || !requests.open(places.socket.c_str(), why)) {
    radio::say("vorlent-radio: %s", why.c_str());
    return 1;
  }
  while (told_to_end == 0 && !radio.gone) {
    turn(radio, requests);
  }
  radio::close(radio);
  unlink(places.socket.c_str());
  if (radio.gone) {
    radio::say("vorlent-radio: %s is gone", places.interface.c_str());
  }
  return radio.gone ? 1 : 0;
}

void declare_options(CLI::App& app, radio::Places& places) {
  places.interface = usual_interface();
  app.add_option("--interface", places.interface,
                 "The wireless interface; NVRAM's wl0_ifname, or wlan0, where it is not said");
  app.add_option("--socket", places.socket, "Where wl asks")
      ->capture_default_str()
      ->envname("VORLENT_RADIO_SOCKET");
  app.add_option("--hostapd", places.hostapd, "The folder of hostapd's control sockets")
      ->capture_default_str();
}

}  // namespace

int main(int argc, char** argv) {
  return run_service("vorlent-radio",
                     "Owns a unit's radio and speaks with vorlent as its driver would",
                     declare_options, run, argc, argv);
}
