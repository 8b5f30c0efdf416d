// Any text in place of a peer's key: by the helper itself, by a unit that gets it in operation
// 1001, and by a base that stores it and pushes with it.
#include "crypto/rsa_helpers.h"
#include "handshake/base_side.h"
#include "harness.h"
#include "support/fake_platform.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes pem(data, data + size);
  RsaBuffer out{};
  std::uint16_t length = 1;
  boot(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  rsa_encrypt_by_pub_key(pem, clipped(pem, 0, 470), out, length);
  require(length % 256 == 0 && (length != 0 || out == RsaBuffer{}), "blocks or nothing");
  receive(air::event(59, air::BASE, air::action_frame(0x1001, pem)));
  boot(ONBOARD_MODE_BASE);
  platform().candidate_satellites = {air::UNIT_TEXT};
  receive(air::event(44, air::UNIT, air::probe_data(air::element(2))));
  const std::string key(pem.begin(),
                        pem.begin() + static_cast<long>(std::min<std::size_t>(size, 1005)));
  receive(air::event(59, air::UNIT, air::action_frame(0x1002, sealed(air::sat_key_content(key)))));
  act_op_1003_sender();
  require(context.candidate_count == 0, "the push empties the table");
  return 0;
}
