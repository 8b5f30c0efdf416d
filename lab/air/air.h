// The air: who hears a frame, and what happens to it on the way.
//
// A radio hears what is sent on the channel that it listens to at that moment. What a frame then
// meets is drawn, see seeded_fate.h. Loss is decided at the antenna, so that a lost probe gets no
// answer; delay and jitter stand for the way from the antenna through driver and forwarder to the
// daemon, so that a scan that listens for milliseconds still works in bad air.
#ifndef LAB_AIR_H
#define LAB_AIR_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "air/frames.h"
#include "air/seeded_fate.h"
#include "base/loop.h"

namespace lab {

struct Radio;

// Counts what each station has sent to each other, by kind: an operation's number or a frame kind.
using AirCounts = std::map<std::tuple<Mac, Mac, int>, std::uint32_t>;

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
