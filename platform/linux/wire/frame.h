// 802.11 management frames: what of the air a unit's daemon is told, and the frame that it sends.
//
//   0  frame control        2  duration       4  receiver      10  transmitter
//   16  BSSID               22  fragment and sequence          24  body
//
// The handshake travels in vendor specific public action frames, whose body begins with category 4,
// action 9 and the OUI 02:7E:91.
#ifndef PLATFORM_LINUX_WIRE_FRAME_H
#define PLATFORM_LINUX_WIRE_FRAME_H

#include <optional>

#include "bytes.h"

namespace radio {

inline constexpr std::size_t kActionBodyMax = 1800;

// The start of a body that is ours, which the kernel is told to look for.
inline constexpr std::array<std::uint8_t, 5> kActionPrefix{0x04, 0x09, 0x02, 0x7e, 0x91};

enum class FrameKind { probe_request, action };

struct Heard {
  FrameKind kind;
  Mac from;
  unsigned sequence;  // with the fragment number, 0
  bool retry;         // sent again, since its acknowledgement was not heard
  View frame;         // whole
  View body;
};

// The frame as far as the daemon has to know of it: a probe request to everybody or to `own`, or
// one of our action frames to `own`. None for everything else, and for what is cut off, fragmented,
// protected or from a group address.
std::optional<Heard> examine(View frame, const Mac& own);

struct Received {
  View frame;     // without frame check sequence
  int frequency;  // MHz, 0 where it is not told
};

// What a monitor interface hands over: a radiotap header, then the frame. None where the header
// does not hold what it claims, or the frame came in broken.
std::optional<Received> strip_radiotap(View packet);

// An action frame around `body`. A station names its peer as the BSS, an access point itself.
Datagram build_action(const Mac& to, const Mac& from, const Mac& bssid, View body);

// 1 to 14 and 36 to 177, in both directions; 0 for what is none. A channel's number is all that the
// protocol knows, so that 6 GHz, where numbers begin anew, has no place in it.
int frequency_of(int channel);
int channel_of(int frequency);

}  // namespace radio

#endif
