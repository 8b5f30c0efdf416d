// The content of operation 1003: what the reader and a unit make of any plaintext, and that what is
// stored is what a base would send.
#include "handshake/bh_credential.h"
#include "harness.h"
#include "support/fake_platform.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView content(data, std::min(size, RSA_DATA_MAX));
  CredentialElements elements{};
  boot(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  receive(air::event(59, air::BASE, air::action_frame(0x1003, sealed(content))));
  TargetBssInfo& target = context.target;
  require(context.cur_mode == ONBOARD_MODE_TEMP_SATELLITE || target.bh_ssid[0] == 0, "all or none");
  if (read_bh_credential(content, elements) && unfit_bh_setting(elements) == nullptr) {
    set_target_credentials(elements, target);
    platform().nvram = {{"bh_ssid", target.bh_ssid.data()},
                        {"bh_wpa_psk", target.bh_password.data()},
                        {"bh_crypto", target.bh_crypto.data()},
                        {"bh_akm", target.bh_akm.data()}};
    RsaBuffer built{};
    require(generate_bh_credential_content(built) >= 16, "what was stored can be sent");
    require(read_bh_credential(built, elements) && unfit_bh_setting(elements) == nullptr, "again");
    require(std::string(as_text(elements[1].value)) == target.bh_password.data(), "as it was");
  }
  return 0;
}
