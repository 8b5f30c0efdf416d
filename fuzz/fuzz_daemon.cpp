// A sequence of all that can happen to the daemon: whatever arrives goes through the event receiver
// as in the product, state stays from step to step, and a peer that encrypts with the daemon's key
// lets the fuzzer stand behind the decryption.
#include "handshake/base_side.h"
#include "harness.h"
#include "role/role_monitor.h"
#include "support/fake_platform.h"

namespace {

constexpr int STEPS_MAX = 48;

air::Mac station(std::uint8_t number) {
  const air::Mac named[] = {
      air::UNIT, air::BASE, {}, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, {0x01, 0x80, 0xc2, 0, 0, 0}};
  return number < std::size(named) ? named[number] : air::Mac{2, 0, 0, 0, 1, number};
}

void deliver_event(Input& input) {
  const std::uint8_t type = input.u8();
  const air::Mac from = station(input.u8());
  const char* interface =
      (const char*[]){"wl0", "wl0.1", "wl1", "0123456789abcdef"}[input.u8() % 4];
  const std::uint8_t status = input.u8();
  receive(air::event(type, from, input.sized(), interface, status));
}

void deliver_frame(Input& input, bool is_sealed) {
  const auto operation = static_cast<std::uint16_t>(0x1000 + input.u8() % 8);
  const air::Mac from = station(input.u8());
  const air::Bytes data = input.sized();
  receive(air::event(59, from, air::action_frame(operation, is_sealed ? sealed(data) : data)));
}

void deliver_scan(Input& input) {
  air::Scan scan;
  scan.chanspec = input.u8();
  scan.elements = input.sized();
  receive(air::event(69, air::BASE, air::scan_data(scan)));
}

void serve_signals(std::uint8_t which) {
  if ((which & 2U) != 0) {
    extend_all_candidates();
  }
  if ((which & 1U) != 0) {
    act_op_1003_sender();
  }
  take_turn();
}

void pass(int seconds) {
  for (; seconds > 0; --seconds) {
    move_clock(1);
    take_turn();
  }
}

void change_setting(Input& input) {
  constexpr const char* KEYS[] = {"blank_state",
                                  "multiap_mode",
                                  "enable_mesh_mode",
                                  "map_agent_configured",
                                  "wan_status",
                                  "mesh_role",
                                  "onboarding_soap_active",
                                  "mesh_role_manual",
                                  "onboarding_role",
                                  "bh_ssid",
                                  "bh_wpa_psk",
                                  "bh_crypto",
                                  "bh_akm",
                                  "vorlent_dbg",
                                  "vorlent_force_apply"};
  const std::string values[] = {"0",
                                "1",
                                "2",
                                "3",
                                "4",
                                "up",
                                "base",
                                "uncfg",
                                "satallite",
                                "net;$(x)`",
                                std::string(64, 'x'),
                                std::string(1100, 'y')};
  const char* key = KEYS[input.u8() % std::size(KEYS)];
  platform().nvram[key] = values[input.u8() % std::size(values)];
  platform().candidate_satellites = {air::UNIT_TEXT, "02:00:00:00:01:09"};
  take_turn();
}

void start(std::uint8_t mode) {
  constexpr OnboardMode MODES[] = {ONBOARD_MODE_UNCONFIGURED, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE,
                                   ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_BASE};
  mode < std::size(MODES) ? boot(MODES[mode]) : restart();
}

void run(Step step, Input& input) {
  switch (step) {
    case EVENT:
      return deliver_event(input);
    case ACTION_FRAME:
      return deliver_frame(input, false);
    case SEALED_FRAME:
      return deliver_frame(input, true);
    case PROBE: {
      const air::Mac from = station(input.u8());
      return receive(air::event(44, from, air::probe_data(input.sized())));
    }
    case SCAN:
      return deliver_scan(input);
    case SIGNALS:
      return serve_signals(input.u8());
    case CLOCK:
      return pass(input.u8());
    case SETTING:
      return change_setting(input);
    case START:
      return start(input.u8());
    default:
      return receive(input.sized());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  boot(ONBOARD_MODE_BASE);
  for (int i = 0; i < STEPS_MAX && !input.done(); ++i) {
    run(static_cast<Step>(input.u8() % STEP_COUNT), input);
    if (context.need_restart != 0) {
      restart();
    }
  }
  return 0;
}
