#include "air/air.h"

#include <algorithm>

#include "air/radio.h"

namespace lab {

namespace {

bool is_resent(Radio& from, int operation, const Frame& frame) {
  if (operation == 0) {
    return false;
  }
  const Bytes body(frame.body.begin(), frame.body.end());
  Bytes& last = from.last_sent[{operation, frame.to}];
  const bool same = last == body;
  last = body;
  return same;
}

bool names(const std::vector<const Radio*>& some, const Radio& radio) {
  return some.empty() || std::find(some.begin(), some.end(), &radio) != some.end();
}

double loss_between(const Air& air, const Radio& from, const Radio& to) {
  const Time now = air.loop.clock.now();
  const auto rule = std::find_if(air.losses.rbegin(), air.losses.rend(), [&](const LinkLoss& link) {
    return now >= link.begin && now < link.end && names(link.from, from) && names(link.to, to);
  });
  return rule != air.losses.rend() ? rule->loss : air.settings.loss;
}

}  // namespace

void transmit(Air& air, Radio& from, int channel, Bytes bytes) {
  Transmission sent{air.loop.clock.now(), &from, channel, std::move(bytes), {}, 0, false, {}, {},
                    ++air.frames};
  sent.frame = parse_frame(sent.bytes).value_or(Frame{});
  sent.operation = operation_of(sent.frame);
  sent.resent = is_resent(from, sent.operation, sent.frame);
  const int kind = sent.operation != 0 ? sent.operation : static_cast<int>(sent.frame.kind);
  for (Radio* radio : air.radios) {
    const bool addressed = sent.frame.to == radio->mac;
    if (radio == &from || (sent.frame.to != kBroadcast && !addressed)) {
      continue;
    }
    if (!radio->on || listens_to(*radio) != channel) {
      if (addressed) {
        sent.elsewhere.push_back(radio);
      }
      continue;
    }
    AirSettings settings = air.settings;
    settings.loss = loss_between(air, from, *radio);
    Fate fate =
        draw_fate(settings, from.mac, radio->mac, kind, air.counts[{from.mac, radio->mac, kind}]++);
    fate.lost = fate.lost || from.muted || radio->muted;
    sent.receptions.push_back({radio, fate});
  }
  air.on_sent(sent);
  for (const Reception& reception : sent.receptions) {
    if (!reception.fate.lost) {
      hear(air, *reception.radio, sent, reception.fate);
    }
  }
}

}  // namespace lab
