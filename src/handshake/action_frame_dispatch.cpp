#include "handshake/action_frame_dispatch.h"

#include "core/log.h"
#include "core/mode_table.h"
#include "core/pelion_element.h"
#include "handshake/action_frame.h"

namespace {

constexpr const char* AS_PARSE_ACT_FRAME = "parse_act_frame";

constexpr std::size_t OUI_AT = 2;

int drop_frame(const char* field, std::size_t size, const char* sta) {
  ONBOARD_LOG_AS(AS_PARSE_ACT_FRAME,
                 "drop action frame of %d bytes from STA: %s: %s cut off or too large\n",
                 static_cast<int>(size), sta, field);
  return -1;
}

int dispatch_operation(const ActionFramePayload& payload, const char* sta) {
  const ModeRow* row = mode_row(context.cur_mode);
  if (row == nullptr || row->operations.empty()) {
    return -1;
  }
  for (const Operation& operation : row->operations) {
    if (operation.attr_id == payload.attr_id) {
      return operation.handler(payload, sta);
    }
  }
  ONBOARD_LOG_AS(AS_PARSE_ACT_FRAME, "Unsupport attr_id:%X from STA: %s\n", payload.attr_id, sta);
  return -1;
}

}  // namespace

bool is_vendor_public_action(ByteView frame) {
  return frame.size() >= OUI_AT && frame[0] == CATEGORY_PUBLIC &&
         frame[1] == ACTION_VENDOR_SPECIFIC;
}

int parse_act_frame(const DriverEventMsg& event, const char* sta) {
  const ByteView frame = event.data;
  ONBOARD_LOG("category(%02X) public_action(%02X)\n", CATEGORY_PUBLIC, ACTION_VENDOR_SPECIFIC);
  ByteReader reader(frame, OUI_AT);
  const auto oui = reader.array<3>();
  if (!reader.ok()) {
    return drop_frame("OUI", frame.size(), sta);
  }
  ONBOARD_LOG("OUI[%02X %02X %02X]\n", oui[0], oui[1], oui[2]);
  if (oui != PELION_OUI) {
    return -1;
  }
  ONBOARD_LOG("[Pelion action frame detected!!]\n");
  ActionFramePayload payload;
  const char* bad_field = decode_payload(frame, payload);
  if (bad_field != nullptr) {
    return drop_frame(bad_field, frame.size(), sta);
  }
  dump_act_frame_payload(payload);
  ONBOARD_LOG("Got action frame with attr_id:%X from STA: %s\n", payload.attr_id, sta);
  return dispatch_operation(payload, sta);
}
