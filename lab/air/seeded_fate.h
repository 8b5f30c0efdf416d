// What a frame meets on its way to a receiver, drawn from the seed.
//
// Loss, delay and a second delivery come from the seed, the two stations, the kind of frame and how
// many of this kind the one has sent to the other before: the order in which a busy machine happens
// to run things changes nothing.
#ifndef LAB_SEEDED_FATE_H
#define LAB_SEEDED_FATE_H

#include <cstdint>
#include <optional>

#include "air/frames.h"
#include "base/loop.h"

namespace lab {

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

// The fate of the frame of `kind` (an operation's number or a frame kind) that is the `nth`, from
// 0, which `from` sends to `to`.
Fate draw_fate(const AirSettings& settings, const Mac& from, const Mac& to, int kind,
               std::uint32_t nth);

}  // namespace lab

#endif
