// The dispatch and dump of an action frame, and the contents of operations 1002 and 1003.
#include "core/context.h"
#include "handshake/action_frame.h"
#include "handshake/action_frame_dispatch.h"
#include "handshake/bh_credential.h"
#include "handshake/sat_key_content.h"
#include "support/bench.h"

namespace {

// An operation that no mode lists, so that parsing ends where a handler would begin.
air::Bytes frame(const benchmark::State& state) {
  return air::action_frame(0x1005, air::Bytes(static_cast<std::size_t>(state.range(0)), 0xA5));
}

void parse_frame(benchmark::State& state) {
  context.cur_mode = ONBOARD_MODE_BASE;
  const air::Bytes body = frame(state);
  DriverEventMsg event{};
  event.data = body;
  measure(state, [&] { parse_act_frame(event, air::UNIT_TEXT.c_str()); });
}
BENCHMARK(parse_frame)->Arg(13)->Arg(512);

void decode_frame(benchmark::State& state) {
  const air::Bytes body = frame(state);
  ActionFramePayload payload;
  measure(state, [&] { benchmark::DoNotOptimize(decode_payload(body, payload)); });
}
BENCHMARK(decode_frame)->Arg(13)->Arg(512);

void dump_frame(benchmark::State& state) {
  ActionFramePayload payload;
  const bool decoded = decode_payload(frame(state), payload) == nullptr;
  measure(state, [&] { dump_act_frame_payload(payload); });
  state.counters["decoded"] = decoded;
}
BENCHMARK(dump_frame)->Arg(13)->Arg(512);

void build_credentials(benchmark::State& state) {
  measure(state, [] {
    RsaBuffer buffer{};
    benchmark::DoNotOptimize(generate_bh_credential_content(buffer));
  });
}
BENCHMARK(build_credentials);

void read_credentials(benchmark::State& state) {
  const air::Bytes content = air::credentials("our mesh", "a long pass phrase", "aes", "psk2");
  measure(state, [&] {
    CredentialElements elements{};
    if (read_bh_credential(content, elements) && unfit_bh_setting(elements) == nullptr) {
      set_target_credentials(elements, context.target);
    }
  });
}
BENCHMARK(read_credentials);

void build_and_read_sat_key(benchmark::State& state) {
  const air::Bytes key(451, 'k');
  measure(state, [&] {
    RsaBuffer buffer{};
    ByteView found;
    const std::size_t length = build_sat_key_content(key, buffer);
    benchmark::DoNotOptimize(read_sat_key(clipped(buffer, 0, length), found));
  });
}
BENCHMARK(build_and_read_sat_key);

}  // namespace
