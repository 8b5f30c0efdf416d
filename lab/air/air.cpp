#include "air/air.h"

#include <algorithm>

#include "air/radio.h"

namespace lab {

namespace {

// Mixes one more number into a hash (the finaliser of splitmix64).
std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
  std::uint64_t z = hash * 0x9e3779b97f4a7c15U + value + 0x9e3779b97f4a7c15U;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
  return z ^ (z >> 31);
}

std::uint64_t number_of(const Mac& mac) {
  std::uint64_t number = 0;
  for (const std::uint8_t byte : mac) {
    number = number << 8 | byte;
  }
  return number;
}

// From 0 (included) to 1 (excluded).
double share(std::uint64_t hash) {
  return static_cast<double>(hash >> 11) * 0x1.0p-53;
}

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

Fate draw_fate(const AirSettings& settings, const Mac& from, const Mac& to, int kind,
               std::uint32_t nth) {
  std::uint64_t hash = mix(settings.seed, number_of(from));
  hash = mix(hash, number_of(to));
  hash = mix(hash, static_cast<std::uint64_t>(kind));
  hash = mix(hash, nth);
  const auto late = [&](std::uint64_t salt) {
    return settings.delay + from_seconds(seconds(settings.jitter) * share(mix(hash, salt)));
  };
  Fate fate{.lost = share(mix(hash, 1)) < settings.loss, .delay = late(2), .again = {}};
  if (share(mix(hash, 3)) < settings.duplicate) {
    fate.again = late(4) + 1ms;
  }
  return fate;
}

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
