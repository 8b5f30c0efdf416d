#include "event_filter.h"

#include <cstring>

#include "core/log.h"
#include "discovery/probe_request.h"
#include "discovery/scan_result.h"
#include "handshake/action_frame_dispatch.h"

namespace {

void take_action_frame(const char* speaker, const char* interface, const DriverEventMsg& event,
                       const MacText& sta) {
  ONBOARD_LOG_AS(speaker, "[recved brcm event]: WLC_E_ACTION_FRAME on %s STA: %s\n", interface,
                 sta.data());
  if (is_vendor_public_action(event.data)) {
    parse_act_frame(event, sta.data());
  }
}

}  // namespace

int router_register(const char* interface, const DriverEventMsg& event) {
  const MacText sta = sta_text(event.addr);
  if (event.event_type == WLC_E_PROBE_REQUEST) {
    if (strncmp(interface, "wl0", 3) == 0 && !event.data.empty()) {
      parse_plon_ie_from_probe(event, sta);
    }
  } else if (event.event_type == WLC_E_ACTION_FRAME) {
    take_action_frame(SPEAKER, interface, event, sta);
  } else {
    ONBOARD_LOG("recved event type 0x%x on %s\n", event.event_type, interface);
  }
  return 0;
}

int uncfg_register(const char* interface, const DriverEventMsg& event) {
  const MacText sta = sta_text(event.addr);
  if (event.event_type != WLC_E_ESCAN_RESULT) {
    return 0;
  }
  ONBOARD_LOG("recved brcm event: WLC_E_ESCAN_RESULT on %s STA: %s\n", interface, sta.data());
  if (strcmp(interface, "wl0") != 0) {
    ONBOARD_LOG("ignore escanresult from: %s\n", interface);
    return 0;
  }
  examine_scan_result(event);
  return 0;
}

int uncfg_act_handshake_register(const char* interface, const DriverEventMsg& event) {
  if (event.event_type == WLC_E_ACTION_FRAME) {
    take_action_frame(SPEAKER, interface, event, sta_text(event.addr));
  }
  return 0;
}
