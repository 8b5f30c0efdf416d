#include "handshake/action_frame.h"

#include <algorithm>
#include <cstdio>

#include "core/context.h"
#include "core/log.h"
#include "core/pelion_element.h"
#include "core/shell.h"
#include "crypto/hex.h"

namespace {

constexpr std::size_t ATTR_ID_AT = 5;
constexpr std::size_t DATA_LEN_AT = 7;
constexpr std::size_t DATA_AT = 9;

// The bytes as "DD 0B ... ", ended by the line "]", in one message: one for each byte would be
// hundreds.
void log_bytes_and_bracket(ByteView bytes) {
  constexpr const char* DIGITS = "0123456789ABCDEF";
  std::array<char, 3 * ACT_FRAME_DATA_MAX + 1> text;
  std::size_t at = 0;
  for (const std::uint8_t byte : bytes) {
    text[at++] = DIGITS[byte >> 4U];
    text[at++] = DIGITS[byte & 0x0FU];
    text[at++] = ' ';
  }
  text[at] = '\0';
  onboard_log_bare(text.data(), "]\n");
}

// Copies data_len and data. Returns none, or the name of the field that is wrong.
const char* decode_data(ByteView frame, ActionFramePayload& out) {
  ByteReader rest(frame, DATA_LEN_AT);
  const std::uint16_t data_len = rest.be16();
  if (!rest.ok() || data_len > ACT_FRAME_DATA_MAX) {
    return "data_len";
  }
  const ByteView data = clipped(frame, DATA_AT, data_len);
  if (data.size() != data_len) {
    return "data";
  }
  out.data_len = data_len;
  std::copy(data.begin(), data.end(), out.data.begin());
  return nullptr;
}

}  // namespace

ByteView payload_data(const ActionFramePayload& payload) {
  return clipped(payload.data, 0, payload.data_len);
}

const char* decode_payload(ByteView frame, ActionFramePayload& out) {
  out = ActionFramePayload{};
  ByteReader attr_id(frame, ATTR_ID_AT);
  const std::uint16_t operation = attr_id.be16();
  if (!attr_id.ok()) {
    return "attr_id";
  }
  const char* wrong = frame.size() == DATA_LEN_AT ? nullptr : decode_data(frame, out);
  if (wrong != nullptr && operation != ATTR_ID_1004) {
    return wrong;
  }
  out.attr_id = operation;
  return nullptr;
}

void dump_act_frame_payload(const ActionFramePayload& payload) {
  ONBOARD_LOG("===== dump act payload =====\n");
  ONBOARD_LOG("attr_id(%X) data_len(%X)(%d)\n", payload.attr_id, payload.data_len,
              payload.data_len);
  if (payload.data_len != 0) {
    ONBOARD_LOG("data:[\n");
    log_bytes_and_bracket(payload_data(payload));
  }
  ONBOARD_LOG("============================\n");
}

FrameHex frame_hex(ByteView buffer, std::uint16_t length) {
  FrameHex hex{};
  bytes_to_hex_string(buffer, hex);
  hex[std::min(2 * std::size_t{length}, hex.size() - 1)] = '\0';
  return hex;
}

void send_action_frame(const char* speaker, const OutgoingFrame& frame) {
  std::array<char, 4096> command{};
  std::size_t at = 0;
  const auto append = [&command, &at](const char* format, auto... values) {
    at += static_cast<std::size_t>(snprintf(&command[at], command.size() - at, format, values...));
  };
  append("wl actframe %s %02x%02x%02x%02x%02x%04x", frame.sta, CATEGORY_PUBLIC,
         ACTION_VENDOR_SPECIFIC, PELION_OUI[0], PELION_OUI[1], PELION_OUI[2], frame.attr_id);
  if (frame.data_hex != nullptr) {
    append("%04x%s", frame.data_len, frame.data_hex);
  }
  if (frame.channel != CURRENT_CHANNEL) {
    append(" %d", frame.channel);
  }
  ONBOARD_LOG_AS(speaker, "cmd: %s\n", command.data());
  run_command(command.data());
}

int act_op_tracker(std::uint32_t send, std::uint32_t wait) {
  context.act_op_sent = send;
  context.act_op_wait = wait;
  ONBOARD_LOG("send: %d wait: %d \n", static_cast<int>(send), static_cast<int>(wait));
  return 0;
}
