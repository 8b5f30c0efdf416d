// 802.11 management frames as the laboratory's radios put them on the air and read them back, with
// the radiotap header that names the channel in a capture.
//
// A frame here is the 24-byte management header and the body, without frame check sequence:
//
//   0  frame control (type management, subtype)   2  duration
//   4  receiver   10  transmitter   16  BSSID      22 sequence number << 4
//
// The handshake travels in vendor specific public action frames: category 4, action 9, OUI, then a
// big-endian operation identifier whose four hexadecimal digits read as the operation's number.
#ifndef LAB_FRAMES_H
#define LAB_FRAMES_H

#include "base/bytes.h"

namespace lab {

enum class FrameKind { probe_request = 4, probe_response = 5, beacon = 8, action = 13 };

struct Frame {
  FrameKind kind = FrameKind::action;
  Mac to{};
  Mac from{};
  Mac bssid{};
  View body;  // behind the header
};

inline constexpr std::array<int, 17> kChannels{1,  2,  3,  4,  5,  6,  7,  8, 9,
                                               10, 11, 12, 13, 36, 40, 44, 48};

bool is_channel(int channel);
const char* name_of(FrameKind kind);

// The elements of a BSS or a probe: SSID, rates, channel, then `vendor` (whole elements) as it is.
Bytes build_probe_request(const Mac& from, unsigned sequence, View vendor);
Bytes build_bss_frame(FrameKind kind, const Mac& to, const Mac& bssid, unsigned sequence,
                      std::string_view ssid, int channel, View vendor);
Bytes build_action(const Mac& to, const Mac& from, const Mac& bssid, unsigned sequence, View body);

// None for bytes that are no management frame of the four kinds.
std::optional<Frame> parse_frame(View bytes);

// The elements of a beacon or a probe response, behind its 12 fixed bytes.
View elements_of(const Frame& frame);

// 1000 to 1004, and 0 for any other action frame.
int operation_of(const Frame& frame);

Bytes radiotap(int channel);

}  // namespace lab

#endif
