// The vendor public action frame that carries the handshake, its payload record, and the tracker.
//
// The frame body, behind the 802.11 management header; numbers are big-endian:
//
//   0  1  category       0x04, public
//   1  1  public action  0x09, vendor specific
//   2  3  OUI            02:7E:91
//   5  2  attr_id        operation: the decimal digits of its number read as hexadecimal
//   7  2  data_len       bytes of data
//   9     data
//
//   operation    from, to       data
//   1000 0x1000  unit to base   the unit's vendor element, 13 bytes
//   1001 0x1001  base to unit   the base's public key, PEM, in clear
//   1002 0x1002  unit to base   the unit's element and public key, encrypted for the base
//   1003 0x1003  base to unit   the backhaul credentials, encrypted for the unit
//   1004 0x1004  base to unit   none: the frame ends after attr_id, and its data_len counts as 0
//
// Bytes behind the data are allowed and ignored, behind the attr_id of 1004 too: a driver may hand
// up padding or the frame's check sequence.
// (Public action frames: IEEE Std 802.11-2020, 9.6.7; vendor specific: 9.6.7.10.)
#ifndef VORLENT_HANDSHAKE_ACTION_FRAME_H
#define VORLENT_HANDSHAKE_ACTION_FRAME_H

#include <array>
#include <cstdint>

#include "core/bytes.h"

inline constexpr std::uint8_t CATEGORY_PUBLIC = 0x04;
inline constexpr std::uint8_t ACTION_VENDOR_SPECIFIC = 0x09;
inline constexpr std::size_t ACT_FRAME_DATA_MAX = 1800;

inline constexpr std::uint16_t ATTR_ID_1000 = 0x1000;
inline constexpr std::uint16_t ATTR_ID_1001 = 0x1001;
inline constexpr std::uint16_t ATTR_ID_1002 = 0x1002;
inline constexpr std::uint16_t ATTR_ID_1003 = 0x1003;
inline constexpr std::uint16_t ATTR_ID_1004 = 0x1004;

// One received frame's payload, copied out of the receive buffer, in the host's byte order.
struct ActionFramePayload {
  std::uint16_t attr_id;
  std::uint16_t data_len;
  std::array<std::uint8_t, ACT_FRAME_DATA_MAX> data;  // zero behind data_len
};

// The data bytes that the frame carried.
ByteView payload_data(const ActionFramePayload& payload);

// Copies attr_id, data_len and data of a frame body. Returns none, or the name of the field that is
// cut off or too large, with `out` left zero.
[[nodiscard]] const char* decode_payload(ByteView frame, ActionFramePayload& out);

// Logs the payload, all data bytes in hexadecimal.
void dump_act_frame_payload(const ActionFramePayload& payload);

// Records the operation just sent and the one awaited, 0 for none, and logs both. They steer
// nothing. Returns 0.
int act_op_tracker(std::uint32_t send, std::uint32_t wait);

using FrameHex = std::array<char, 2049>;  // room for four blocks of data

// The first `length` bytes of `buffer`, 1,024 at most, in hexadecimal. Prints the whole buffer, as
// bytes_to_hex_string does.
FrameHex frame_hex(ByteView buffer, std::uint16_t length);

inline constexpr int CURRENT_CHANNEL = -1;

struct OutgoingFrame {
  const char* sta;  // the receiver's MAC text
  std::uint16_t attr_id;
  const char* data_hex;  // none: the frame ends after attr_id
  std::uint16_t data_len;
  int channel;  // number of the channel to send on, or CURRENT_CHANNEL
};

// Hands a frame to the wireless utility, its body in hexadecimal from the category on, and logs the
// command as `speaker`.
void send_action_frame(const char* speaker, const OutgoingFrame& frame);

#endif
