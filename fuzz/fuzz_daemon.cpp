// A sequence of all that can happen to the daemon: whatever arrives goes through the event receiver
// as in the product, state stays from step to step, and a peer that encrypts with the daemon's key
// lets the fuzzer stand behind the decryption.
#include "handshake/base_side.h"
#include "harness.h"
#include "support/fake_platform.h"

namespace {

// The steps of a program for fuzz_daemon, each a byte and its arguments; "sized" is two bytes of
// length and as many bytes.
enum Step : std::uint8_t {
  DATAGRAM,  // sized datagram
  EVENT,     // type, station, sized data
  PROBE,     // 0, station, sized elements
  SCAN,      // channel, 0, sized elements
  FRAME,     // last digit of the operation, station, sized data
  SEALED,    // the same, its data encrypted with the daemon's key
  CONTROL,   // 0 to 3 start in mode 0, 1, 2, 5; 4 restart; 5 push; 6 extend; more: so many seconds
  SETTING,   // sized "key=value"
};

constexpr int STEPS_MAX = 48;

air::Mac station(std::uint8_t number) {
  const air::Mac named[] = {air::UNIT, air::BASE, {}, {255, 255, 255, 255, 255, 255}, {1, 0, 94}};
  return number < std::size(named) ? named[number] : air::Mac{2, 0, 0, 0, 1, number};
}

Bytes sized(ByteReader& input) {
  const ByteView bytes = input.bytes(input.be16());
  return {bytes.begin(), bytes.end()};
}

void deliver_event(std::uint8_t form, ByteReader& input) {
  const std::uint8_t detail = input.u8();
  const air::Mac from = station(input.u8());
  const Bytes data = sized(input);
  if (form == PROBE) {
    receive(air::event(44, from, air::probe_data(data)));
  } else if (form == SCAN) {
    receive(air::event(69, from, air::scan_data({.chanspec = detail, .elements = data})));
  } else if (form == FRAME || form == SEALED) {
    const auto operation = static_cast<std::uint16_t>(0x1000 + detail % 8);
    receive(
        air::event(59, from, air::action_frame(operation, form == SEALED ? sealed(data) : data)));
  } else {
    receive(air::event(detail, from, data));
  }
}

void control(std::uint8_t what) {
  constexpr OnboardMode MODES[] = {ONBOARD_MODE_UNCONFIGURED, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE,
                                   ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_BASE};
  if (what < std::size(MODES)) {
    boot(MODES[what]);
  } else if (what == 4) {
    restart();
  } else if (what == 5) {
    act_op_1003_sender();
  } else if (what == 6) {
    extend_all_candidates();
  }
  for (; what > 6; --what) {
    move_clock(1);
    take_turn();
  }
}

void change_setting(const Bytes& bytes) {
  const std::string text(bytes.begin(), bytes.end());
  const std::size_t equals = std::min(text.find('='), text.size());
  platform().nvram[text.substr(0, equals)] = text.c_str() + std::min(equals + 1, text.size());
  platform().candidate_satellites = {air::UNIT_TEXT, "02:00:00:00:01:09"};
}

void run(std::uint8_t step, ByteReader& input) {
  if (step == DATAGRAM) {
    receive(sized(input));
  } else if (step == CONTROL) {
    control(input.u8());
  } else if (step == SETTING) {
    change_setting(sized(input));
  } else {
    deliver_event(step, input);
  }
  take_turn();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader input(ByteView(data, size));
  boot(ONBOARD_MODE_BASE);
  for (int i = 0; i < STEPS_MAX && input.ok(); ++i) {
    run(input.u8() % 8, input);
    if (context.need_restart != 0) {
      restart();
    }
  }
  return 0;
}
