#include "air/radio.h"

#include <cstdlib>

#include "air/driver_event.h"
#include "lab.h"
#include "node/agent/protocol.h"

namespace lab {

namespace {

constexpr Time kDwell = 40ms;  // on each channel of a scan
constexpr Time kBeacons = 1s;  // far fewer than a real access point's, to keep captures short
constexpr Time kBeaconInterval = 102400us;
constexpr Time kAnswer = 1ms;  // from a probe request to its answer
constexpr unsigned kInBeacons = 1;
constexpr unsigned kInProbeResponses = 2;
constexpr unsigned kInProbeRequests = 16;

// What is due for a node is dropped when its power was cut in between.
template <typename Action>
void later(Lab& lab, Node& node, Time span, Action action) {
  lab.loop.after(span, [&node, epoch = node.radio.epoch, action] {
    if (node.radio.epoch == epoch) {
      action();
    }
  });
}

Bytes elements_for(const Radio& radio, unsigned kind) {
  Bytes out;
  for (const auto& [content, kinds] : radio.elements) {
    if ((kinds & kind) != 0) {
      put8(out, 0xdd);
      put8(out, static_cast<unsigned>(content.size()));
      put(out, content);
    }
  }
  return out;
}

void send_bss_frame(Lab& lab, Node& node, FrameKind kind, const Mac& to) {
  Radio& radio = node.radio;
  const Bytes vendor =
      elements_for(radio, kind == FrameKind::beacon ? kInBeacons : kInProbeResponses);
  transmit(
      lab, node, radio.channel,
      build_bss_frame(kind, to, radio.mac, radio.sequence++, radio.ssid, radio.channel, vendor));
}

void send_beacons(Lab& lab, Node& node) {
  send_bss_frame(lab, node, FrameKind::beacon, kBroadcast);
  later(lab, node, kBeacons, [&lab, &node] { send_beacons(lab, node); });
}

void hand_to_daemon(Lab& lab, Node& node, Time delay, Bytes datagram, Node* peer, int operation) {
  later(lab, node, delay, [&lab, &node, datagram = std::move(datagram), peer, operation] {
    record_event(lab, node, datagram);
    tell_agent(node, kDeliver, View(datagram));
    if (operation != 0) {
      publish(lab,
              {.what = What::heard, .node = &node, .text = {}, .peer = peer, .number = operation});
    }
  });
}

void end_scan(Lab& lab, Node& node, std::uint32_t status) {
  Radio& radio = node.radio;
  if (radio.scan_channel == 0) {
    return;
  }
  radio.scan_channel = 0;
  ++radio.scan;
  const Time after_results = lab.air.delay + lab.air.jitter;
  hand_to_daemon(lab, node, after_results,
                 driver_event(EventType::scan_result, status, radio.mac, Mac{}, scan_done_data()),
                 nullptr, 0);
}

void send_probe(Lab& lab, Node& node) {
  Radio& radio = node.radio;
  transmit(lab, node, radio.scan_channel,
           build_probe_request(radio.mac, radio.sequence++, elements_for(radio, kInProbeRequests)));
}

// Every radio begins its scan at a channel of its own, so that a crowd does not move in step.
void scan_channel(Lab& lab, Node& node, std::size_t index) {
  Radio& radio = node.radio;
  if (index == kChannels.size()) {
    end_scan(lab, node, kScanDone);
    return;
  }
  const std::size_t first = radio.mac.back() * std::size_t{5};
  radio.scan_channel = kChannels[(first + index) % kChannels.size()];
  const auto unless_ended = [&radio, scan = radio.scan](auto action) {
    return [&radio, scan, action] {
      if (radio.scan == scan) {
        action();
      }
    };
  };
  send_probe(lab, node);
  later(lab, node, kDwell / 2, unless_ended([&lab, &node] { send_probe(lab, node); }));
  later(lab, node, kDwell,
        unless_ended([&lab, &node, index] { scan_channel(lab, node, index + 1); }));
}

CommandResult usage(const std::string& text) {
  return {1, "wl: usage: wl " + text + "\n"};
}

CommandResult wrong(const std::string& text) {
  return {1, "wl: " + text + "\n"};
}

std::optional<int> number(const std::string& text, int low, int high) {
  char* end = nullptr;
  const long value = strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < low || value > high) {
    return std::nullopt;
  }
  return static_cast<int>(value);
}

std::optional<int> channel(const std::string& text) {
  const auto value = number(text, 1, 255);
  return value && is_channel(*value) ? value : std::nullopt;
}

// FLAGS LENGTH OUI DATA; the element's content, or why it is none in `error`.
Bytes element_content(const std::vector<std::string>& words, unsigned& flags, std::string& error) {
  const auto kinds = number(words[1], 1, 63);
  const auto length = number(words[2], 4, 255);
  const auto oui = parse_mac(words[3] + ":00:00:00");
  const auto data = parse_hex(words[4]);
  if (!kinds) {
    error = words[1] + ": not a set of packet types";
  } else if (!oui) {
    error = words[3] + ": not an OUI";
  } else if (!data || !length || data->size() + 3 != static_cast<std::size_t>(*length)) {
    error = words[4] + ": not " + words[2] + " bytes with the OUI";
  } else {
    flags = static_cast<unsigned>(*kinds);
    Bytes content(oui->begin(), oui->begin() + 3);
    put(content, *data);
    return content;
  }
  return {};
}

CommandResult change_element(Lab& lab, Node& node, const std::vector<std::string>& words) {
  if (words.size() != 5) {
    return usage(words[0] + " <pktflag> <length> <OUI> <hexdata>");
  }
  std::string error;
  unsigned flags = 0;
  const Bytes content = element_content(words, flags, error);
  if (!error.empty()) {
    return wrong(words[0] + ": " + error);
  }
  auto& elements = node.radio.elements;
  const auto found = elements.find(content);
  if (words[0] == "add_ie") {
    elements[content] = flags;
  } else if (found == elements.end() || found->second != flags) {
    return wrong("del_ie: no such element");
  } else {
    elements.erase(found);
  }
  if (node.radio.access_point && (flags & kInBeacons) != 0) {
    send_bss_frame(lab, node, FrameKind::beacon, kBroadcast);
  }
  return {};
}

CommandResult scan(Lab& lab, Node& node, const std::vector<std::string>& words) {
  if (words.size() != 1) {
    return usage("escanresults");
  }
  if (node.radio.scan_channel != 0) {
    return wrong("escanresults: Device Busy");
  }
  ++node.radio.scan;
  node.radio.scan_found.clear();
  scan_channel(lab, node, 0);
  return {0, "scan started on " + std::to_string(kChannels.size()) + " channels\n"};
}

CommandResult switch_channel(Lab& lab, Node& node, const std::vector<std::string>& words) {
  const auto mode = words.size() == 4 ? number(words[1], 0, 1) : std::nullopt;
  const auto count = words.size() == 4 ? number(words[2], 0, 255) : std::nullopt;
  if (!mode || !count) {
    return usage("csa <mode> <count> <channel>");
  }
  const auto to = channel(words[3]);
  if (!to) {
    return wrong("csa: " + words[3] + ": Bad Channel");
  }
  end_scan(lab, node, kScanAborted);
  if (node.radio.access_point) {
    later(lab, node, kBeaconInterval * *count, [&node, to] { node.radio.channel = *to; });
  } else {
    node.radio.channel = *to;
  }
  return {};
}

CommandResult send_action(Lab& lab, Node& node, const std::vector<std::string>& words) {
  if (words.size() != 3 && words.size() != 4) {
    return usage("actframe <address> <hexdata> [<channel>]");
  }
  Radio& radio = node.radio;
  const auto to = parse_mac(words[1]);
  const auto body = parse_hex(words[2]);
  const auto on = words.size() == 4 ? channel(words[3]) : std::optional(listens_to(radio));
  if (!to) {
    return wrong("actframe: " + words[1] + ": not an address");
  }
  if (!body || body->empty() || body->size() > 1800) {
    return wrong("actframe: the data is not 1 to 1800 bytes in hexadecimal");
  }
  if (!on) {
    return wrong("actframe: " + words[3] + ": Bad Channel");
  }
  // A station answers to the BSSID of its peer, an access point to its own.
  const Mac& bssid = radio.access_point ? radio.mac : *to;
  transmit(lab, node, *on, build_action(*to, radio.mac, bssid, radio.sequence++, *body));
  return {};
}

void hear_probe(Lab& lab, Node& node, const Transmission& sent, const Fate& fate) {
  Radio& radio = node.radio;
  if (!radio.access_point) {
    return;
  }
  const Mac from = sent.frame.from;
  const Bytes datagram = driver_event(EventType::probe_request, 0, radio.mac, from,
                                      probe_data(sent.channel, sent.bytes));
  hand_to_daemon(lab, node, fate.delay, datagram, sent.from, 0);
  if (fate.again) {
    hand_to_daemon(lab, node, *fate.again, datagram, sent.from, 0);
  }
  later(lab, node, kAnswer,
        [&lab, &node, from] { send_bss_frame(lab, node, FrameKind::probe_response, from); });
}

void hear_bss(Lab& lab, Node& node, const Transmission& sent, const Fate& fate) {
  Radio& radio = node.radio;
  if (radio.scan_channel == 0 || !radio.scan_found.insert(sent.frame.bssid).second) {
    return;
  }
  const Bytes data =
      scan_data(sent.frame.bssid, sent.from->radio.ssid, sent.channel, elements_of(sent.frame));
  hand_to_daemon(
      lab, node, fate.delay,
      driver_event(EventType::scan_result, kScanPartial, radio.mac, sent.frame.bssid, data),
      sent.from, 0);
}

void hear_action(Lab& lab, Node& node, const Transmission& sent, const Fate& fate) {
  const Bytes datagram =
      driver_event(EventType::action_frame, 0, node.radio.mac, sent.frame.from, sent.frame.body);
  // What a stranger forged is no step of the unit's way in.
  const int operation = sent.from->kind == NodeKind::stranger ? 0 : sent.operation;
  hand_to_daemon(lab, node, fate.delay, datagram, sent.from, operation);
  if (fate.again) {
    hand_to_daemon(lab, node, *fate.again, datagram, sent.from, operation);
  }
}

}  // namespace

int listens_to(const Radio& radio) {
  return radio.scan_channel != 0 ? radio.scan_channel : radio.channel;
}

void radio_on(Lab& lab, Node& node) {
  node.radio.on = true;
  if (node.radio.access_point) {
    send_beacons(lab, node);
  }
}

void radio_off(Node& node) {
  Radio& radio = node.radio;
  radio.on = false;
  radio.scan_channel = 0;
  radio.elements.clear();
  radio.last_sent.clear();
  ++radio.epoch;
  ++radio.scan;
  if (!radio.access_point) {
    radio.channel = 1;
  }
}

CommandResult wl(Lab& lab, Node& node, const std::vector<std::string>& words) {
  if (words.empty()) {
    return usage("<command> [arguments]");
  }
  if (!node.radio.on) {
    return wrong("wl driver adapter not found");
  }
  if (words[0] == "add_ie" || words[0] == "del_ie") {
    return change_element(lab, node, words);
  }
  if (words[0] == "escanresults") {
    return scan(lab, node, words);
  }
  if (words[0] == "csa") {
    return switch_channel(lab, node, words);
  }
  if (words[0] == "actframe") {
    return send_action(lab, node, words);
  }
  return wrong("unrecognized command '" + words[0] + "'");
}

void hear(Lab& lab, Node& node, const Transmission& sent, const Fate& fate) {
  switch (sent.frame.kind) {
    case FrameKind::probe_request:
      hear_probe(lab, node, sent, fate);
      break;
    case FrameKind::beacon:
    case FrameKind::probe_response:
      hear_bss(lab, node, sent, fate);
      break;
    case FrameKind::action:
      hear_action(lab, node, sent, fate);
      break;
  }
}

}  // namespace lab
