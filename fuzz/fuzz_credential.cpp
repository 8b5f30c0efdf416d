// The content of operation 1003: what the reader and a unit make of any plaintext, and that what is
// stored is what a base would send.
#include <cstring>

#include "handshake/bh_credential.h"
#include "harness.h"
#include "support/fake_platform.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView content(data, std::min(size, RSA_DATA_MAX));
  CredentialElements elements{};
  boot(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  if (read_bh_credential(content, elements) && unfit_bh_setting(elements) == nullptr) {
    TargetBssInfo target{};
    store_bh_credential(elements, target);
    platform().nvram = {{"bh_ssid", target.bh_ssid.data()},
                        {"bh_wpa_psk", target.bh_password.data()},
                        {"bh_crypto", target.bh_crypto.data()},
                        {"bh_akm", target.bh_akm.data()}};
    RsaBuffer built{};
    const int length = generate_bh_credential_content(built);
    TargetBssInfo again{};
    require(length >= 16 && read_bh_credential(built, elements), "what is built can be read");
    require(unfit_bh_setting(elements) == nullptr, "what was stored fits");
    store_bh_credential(elements, again);
    require(strcmp(target.bh_ssid.data(), again.bh_ssid.data()) == 0 &&
                strcmp(target.bh_password.data(), again.bh_password.data()) == 0 &&
                strcmp(target.bh_crypto.data(), again.bh_crypto.data()) == 0 &&
                strcmp(target.bh_akm.data(), again.bh_akm.data()) == 0,
            "and is the same");
  }
  receive(air::event(59, air::BASE, air::action_frame(0x1003, sealed(content))));
  require(context.cur_mode == ONBOARD_MODE_TEMP_SATELLITE || context.target.bh_ssid[0] == '\0',
          "all or nothing");
  return 0;
}
