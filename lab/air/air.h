// The air: who hears a frame, and what happens to it on the way.
//
// A radio hears what is sent on the channel that it listens to at that moment. What a frame then
// meets (loss, delay, a second delivery) is drawn from the seed, the two stations, the kind of
// frame and how many of this kind the one has sent to the other before: the order in which a busy
// machine happens to run things changes nothing. Loss is decided at the antenna, so that a lost
// probe gets no answer; delay and jitter stand for the way from the antenna through driver and
// forwarder to the daemon, so that a scan that listens for milliseconds still works in bad air.
#ifndef LAB_AIR_H
#define LAB_AIR_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "air/frames.h"
#include "base/loop.h"

namespace lab {

struct Radio;

struct AirSettings {
  double loss = 0;       // 0 to 1
  double duplicate = 0;  // 0 to 1
  Time delay = 2ms;
  Time jitter = 0ms;
  std::uint64_t seed = 1;
};

struct Fate {
  bool lost = false;
  Time delay{};
  std::optional<Time> again;  // when it is delivered a second time
};

// Counts what each station has sent to each other, by kind: an operation's number or a frame kind.
using AirCounts = std::map<std::tuple<Mac, Mac, int>, std::uint32_t>;

Fate draw_fate(const AirSettings& settings, const Mac& from, const Mac& to, int kind,
               std::uint32_t nth);

struct Reception {
  Radio* radio;
  Fate fate;
};

// One frame on the air, with what became of it.
struct Transmission {
  Time time;
  Radio* from;
  int channel;
  Bytes bytes;
  Frame frame;  // a view of `bytes`
  int operation;
  bool resent;
  std::vector<Reception> receptions;
  std::vector<Radio*> elsewhere;  // addressed, but listening to another channel or switched off
  std::uint64_t number;           // of all frames, from 1
};

// What a driver tells its daemon; operation and number are those of a handshake frame which `from`
// sent.
struct Told {
  View datagram;
  Radio* from = nullptr;
  int operation = 0;
  std::uint64_t frame = 0;
};

// Another loss between some stations, for a while; who is not named may be anybody.
struct LinkLoss {
  double loss = 0;
  std::vector<const Radio*> from;
  std::vector<const Radio*> to;
  Time begin{};
  Time end = Time::max();
};

struct Air {
  Loop& loop;
  AirSettings settings{};
  std::vector<LinkLoss> losses{};  // the last that fits counts
  AirCounts counts{};
  std::uint64_t frames = 0;
  std::vector<Radio*> radios{};
  std::function<void(const Transmission&)> on_sent{};
  std::function<void(Radio&, const Told&)> on_told{};
  std::function<void(Radio&)> on_tuned{};  // to another channel
};

void transmit(Air& air, Radio& from, int channel, Bytes bytes);

}  // namespace lab

#endif
