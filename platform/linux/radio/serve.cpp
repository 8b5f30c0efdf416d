// What `wl` asks for, done.
#include <cerrno>
#include <cstring>

#include "journal.h"
#include "radio.h"

namespace radio {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kToBeSent{3000};
constexpr int kForAnAnswer = 500;  // ms, on a channel where the radio is not

struct Outcome {
  bool done;
  std::string text;
};

Outcome refused(const std::string& what, int result) {
  return {false, what + ": " + strerror(-result)};
}

Outcome change_element(Radio& radio, const Request& request) {
  const bool adding = request.wish == Wish::add_element;
  Elements changed = radio.elements;
  if (!(adding ? add(changed, request.element) : remove(changed, request.element))) {
    return {false, adding ? "add_ie: no room for another element" : "del_ie: no such element"};
  }
  constexpr unsigned kOfHostapd = kInBeacons | kInProbeResponses;
  const unsigned shown = request.element.frames & kOfHostapd;
  if (shown != 0 && radio.hostapd.attached() &&
      !radio.hostapd.set_elements(on_air(changed, kOfHostapd))) {
    return {false, "hostapd refuses the elements"};
  }
  radio.elements = changed;
  // hostapd knows one list for both.
  return {true, adding && shown != 0 && shown != kOfHostapd
                    ? "beacons and probe responses carry it alike"
                    : ""};
}

Outcome scan(Radio& radio) {
  const std::vector<int> frequencies = radio.kernel.usable_frequencies();
  if (frequencies.empty()) {
    return {false, "escanresults: there is no channel on which one may send; is the country set?"};
  }
  stop(radio.staying, radio.kernel);
  const int result = radio.kernel.scan(on_air(radio.elements, kInProbeRequests), frequencies);
  if (result == -EBUSY) {
    say("the radio is busy: no scan now; the next request tries again");
  }
  if (result != 0) {
    return refused("escanresults", result);
  }
  radio.scanning = true;
  return {true, "scan started on " + std::to_string(frequencies.size()) + " channels"};
}

Outcome switch_channel(Radio& radio, const Request& request) {
  const int frequency = frequency_of(request.channel);
  if (radio.interface.access_point) {
    const std::string options = std::string(radio.interface.high_throughput ? " ht" : "") +
                                (request.quiet ? " blocktx" : "");
    const bool done = radio.hostapd.switch_channel(request.count, frequency, options);
    return {done, done ? "" : "csa: hostapd refuses the channel"};
  }
  const std::vector<int> usable = radio.kernel.usable_frequencies();
  if (std::find(usable.begin(), usable.end(), frequency) == usable.end()) {
    return {false, "csa: one may not send on channel " + std::to_string(request.channel)};
  }
  if (radio.scanning) {
    radio.kernel.abort_scan();
  }
  stop(radio.staying, radio.kernel);
  stay(radio.staying, frequency);
  return {true, ""};
}

// Where the frame goes out: as said, or where the radio is.
int frequency_for(const Radio& radio, const Request& request) {
  if (request.channel != 0) {
    return frequency_of(request.channel);
  }
  return radio.interface.frequency != 0 ? radio.interface.frequency : radio.staying.frequency;
}

void send_action(Radio& radio, UniqueFd client, const Request& request) {
  radio.interface = radio.kernel.interface().value_or(radio.interface);
  const int frequency = frequency_for(radio, request);
  if (frequency == 0) {
    answer(client, false, "actframe: the radio is on no channel; name one");
    return;
  }
  const Mac& own = radio.interface.address;
  const Datagram frame =
      build_action(request.to, own, radio.interface.access_point ? own : request.to, request.body);
  const bool there = frequency == radio.interface.frequency || frequency == radio.staying.frequency;
  start(radio.sendings, radio.kernel,
        {.client = std::move(client),
         .frame = frame,
         .to_group = (request.to[0] & 1) != 0,
         .frequency = frequency,
         .stay = there ? 0 : std::min(radio.kernel.longest_stay(), kForAnAnswer),
         .deadline = Clock::now() + kToBeSent});
}

}  // namespace

void serve(Radio& radio, UniqueFd client, std::string_view message) {
  const Request request = read_request(split(message));
  Outcome outcome{};
  switch (request.wish) {
    case Wish::none:
      outcome = {false, request.wrong};
      break;
    case Wish::add_element:
    case Wish::remove_element:
      outcome = change_element(radio, request);
      break;
    case Wish::scan:
      outcome = scan(radio);
      break;
    case Wish::switch_channel:
      outcome = switch_channel(radio, request);
      break;
    case Wish::send_action:
      send_action(radio, std::move(client), request);
      return;
  }
  answer(client, outcome.done, outcome.text);
}

}  // namespace radio
