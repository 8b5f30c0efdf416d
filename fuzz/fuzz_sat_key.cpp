// The content of operation 1002 as a base reads it after decryption, from a station it knows.
#include "discovery/candidate_table.h"
#include "handshake/sat_key_content.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView content(data, std::min(size, RSA_DATA_MAX));
  RsaBuffer built{};
  ByteView key;
  ByteView again;
  if (read_sat_key(content, key) && key.size() <= SAT_KEY_MAX) {
    const std::size_t length = build_sat_key_content(key, built);
    require(read_sat_key(clipped(built, 0, length), again), "what is built can be read");
    require(std::equal(key.begin(), key.end(), again.begin(), again.end()), "and is the same");
  }
  boot(ONBOARD_MODE_BASE);
  receive(air::event(44, air::UNIT, air::probe_data(air::element(2))));
  receive(air::event(59, air::UNIT, air::action_frame(0x1002, sealed(content))));
  const CandidateEntry& row = candidate_table[0];
  require(context.candidate_count == 0 || row.stage == CANDIDATE_READY || row.key_len == 0,
          "stored, removed or untouched");
  return 0;
}
