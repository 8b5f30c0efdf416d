#include "air/radio.h"

#include <utility>

#include "air/driver_event.h"

namespace lab {

namespace {

constexpr Time kDwell = 40ms;  // on each channel of a scan
constexpr Time kBeacons = 1s;  // far fewer than a real access point's, to keep captures short
constexpr Time kBeaconInterval = 102400us;
constexpr Time kAnswer = 1ms;  // from a probe request to its answer
constexpr unsigned kInProbeResponses = 2;
constexpr unsigned kInProbeRequests = 16;

// What is due for a radio is dropped when its power was cut in between.
template <typename Action>
void later(Air& air, Radio& radio, Time span, Action action) {
  air.loop.after(span, [&radio, epoch = radio.epoch, action] {
    if (radio.epoch == epoch) {
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

void send_bss_frame(Air& air, Radio& radio, FrameKind kind, const Mac& to) {
  const Bytes vendor =
      elements_for(radio, kind == FrameKind::beacon ? kInBeacons : kInProbeResponses);
  transmit(
      air, radio, radio.channel,
      build_bss_frame(kind, to, radio.mac, radio.sequence++, radio.ssid, radio.channel, vendor));
}

void send_beacons(Air& air, Radio& radio) {
  send_bss_frame(air, radio, FrameKind::beacon, kBroadcast);
  later(air, radio, kBeacons, [&air, &radio] { send_beacons(air, radio); });
}

void tell_daemon(Air& air, Radio& radio, const Fate& fate, const Bytes& datagram,
                 const Transmission* sent = nullptr) {
  const Told told = sent != nullptr ? Told{{}, sent->from, sent->operation, sent->number} : Told{};
  const auto tell = [&air, &radio, datagram, told] {
    air.on_told(radio, {datagram, told.from, told.operation, told.frame});
  };
  later(air, radio, fate.delay, tell);
  if (fate.again) {
    later(air, radio, *fate.again, tell);
  }
}

void end_scan(Air& air, Radio& radio, std::uint32_t status) {
  if (radio.scan_channel == 0) {
    return;
  }
  radio.scan_channel = 0;
  ++radio.scan;
  const Fate after_results{.delay = air.settings.delay + air.settings.jitter, .again = {}};
  tell_daemon(air, radio, after_results,
              driver_event(EventType::scan_result, status, radio.mac, Mac{}, scan_done_data()));
}

void send_probe(Air& air, Radio& radio) {
  transmit(air, radio, radio.scan_channel,
           build_probe_request(radio.mac, radio.sequence++, elements_for(radio, kInProbeRequests)));
}

// Every radio begins its scan at a channel of its own, so that a crowd does not move in step.
void scan_channel(Air& air, Radio& radio, std::size_t index) {
  if (index == kChannels.size()) {
    end_scan(air, radio, kScanDone);
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
  send_probe(air, radio);
  later(air, radio, kDwell / 2, unless_ended([&air, &radio] { send_probe(air, radio); }));
  later(air, radio, kDwell,
        unless_ended([&air, &radio, index] { scan_channel(air, radio, index + 1); }));
}

void hear_probe(Air& air, Radio& radio, const Transmission& sent, const Fate& fate) {
  if (!radio.access_point) {
    return;
  }
  const Mac from = sent.frame.from;
  tell_daemon(air, radio, fate,
              driver_event(EventType::probe_request, 0, radio.mac, from,
                           probe_data(sent.channel, sent.bytes)));
  later(air, radio, kAnswer,
        [&air, &radio, from] { send_bss_frame(air, radio, FrameKind::probe_response, from); });
}

void hear_bss(Air& air, Radio& radio, const Transmission& sent, Fate fate) {
  if (radio.scan_channel == 0 || !radio.scan_found.insert(sent.frame.bssid).second) {
    return;
  }
  fate.again.reset();  // a scan lists each BSS once
  const Bytes data =
      scan_data(sent.frame.bssid, sent.from->ssid, sent.channel, elements_of(sent.frame));
  tell_daemon(
      air, radio, fate,
      driver_event(EventType::scan_result, kScanPartial, radio.mac, sent.frame.bssid, data));
}

void hear_action(Air& air, Radio& radio, const Transmission& sent, const Fate& fate) {
  tell_daemon(air, radio, fate,
              driver_event(EventType::action_frame, 0, radio.mac, sent.frame.from, sent.frame.body),
              &sent);
}

}  // namespace

int listens_to(const Radio& radio) {
  return radio.scan_channel != 0 ? radio.scan_channel : radio.channel;
}

void radio_on(Air& air, Radio& radio) {
  radio.on = true;
  if (radio.access_point) {
    send_beacons(air, radio);
  }
}

void radio_off(Radio& radio) {
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

void announce_elements(Air& air, Radio& radio) {
  if (radio.access_point) {
    send_bss_frame(air, radio, FrameKind::beacon, kBroadcast);
  }
}

void start_scan(Air& air, Radio& radio) {
  ++radio.scan;
  radio.scan_found.clear();
  scan_channel(air, radio, 0);
}

void switch_channel(Air& air, Radio& radio, int channel, int beacons) {
  const auto tune = [&air, &radio, channel] {
    if (std::exchange(radio.channel, channel) != channel && air.on_tuned) {
      air.on_tuned(radio);
    }
  };
  end_scan(air, radio, kScanAborted);
  if (radio.access_point) {
    later(air, radio, kBeaconInterval * beacons, tune);
  } else {
    tune();
  }
}

void forget_sent(Air& air, const Radio& radio) {
  for (Radio* other : air.radios) {
    std::erase_if(other->last_sent, [&](const auto& entry) {
      return other == &radio || entry.first.second == radio.mac;
    });
  }
}

void hear(Air& air, Radio& radio, const Transmission& sent, const Fate& fate) {
  switch (sent.frame.kind) {
    case FrameKind::probe_request:
      hear_probe(air, radio, sent, fate);
      break;
    case FrameKind::beacon:
    case FrameKind::probe_response:
      hear_bss(air, radio, sent, fate);
      break;
    case FrameKind::action:
      hear_action(air, radio, sent, fate);
      break;
  }
}

}  // namespace lab
