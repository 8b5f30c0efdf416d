// Writes the first inputs of each target, built by the tests' builders and named after what they
// say, into the folder it is given.
#include <filesystem>
#include <fstream>

#include "crypto/rsa_helpers.h"
#include "harness.h"

namespace {

Bytes sized(const Bytes& bytes) {
  return air::be16(bytes.size()) + bytes;
}

Bytes setting(const std::string& text) {
  return Bytes{SETTING} + sized(air::from_text(text));
}

std::string public_key() {
  boot(ONBOARD_MODE_BASE);  // which makes it
  std::ifstream file(RSA_PUB_FILE);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

int main(int /*count*/, char** arguments) {
  const std::string pem = public_key();
  const Bytes settings = air::credentials("backnet", "pa55word", "aes", "psk2");
  const Bytes probe = Bytes{PROBE, 0, 0} + sized(air::element(2));
  const Bytes hello = Bytes{FRAME, 0, 0} + sized(air::element(2));
  const Bytes key = Bytes{SEALED, 2, 0} + sized(air::sat_key_content(pem));
  const Bytes join = Bytes{CONTROL, 0, SCAN, 6, 1} + sized(air::ie(0, {}) + air::element(1));
  const Bytes base_key = Bytes{FRAME, 1, 1} + sized(air::from_text(pem));
  const Bytes wait = Bytes{EVENT, 59, 1} + sized(air::action_frame_1004());
  const Bytes done = Bytes{SEALED, 3, 1} + sized(settings);
  const std::pair<const char*, Bytes> inputs[] = {
      {"fuzz_daemon/base-serves-a-unit", setting("onboarding_soap_active=1") + probe + hello + key +
                                             Bytes{CONTROL, 6, CONTROL, 5, CONTROL, 61}},
      {"fuzz_daemon/unit-joins-a-base", join + base_key + wait + done},
      {"fuzz_daemon/unit-gives-up",
       join + Bytes{CONTROL, 36} + join + base_key + Bytes{CONTROL, 36}},
      {"fuzz_daemon/router-loses-its-wan", Bytes{CONTROL, 2, CONTROL, 200}},
      {"fuzz_daemon/unit-becomes-a-base",
       Bytes{CONTROL, 0} + setting("wan_status=up") + setting("blank_state=0") + Bytes{CONTROL, 4}},
      {"fuzz_daemon/owner-resets", setting("mesh_role_manual=uncfg")},
      {"fuzz_daemon/datagram",
       Bytes{DATAGRAM} + sized(air::event(44, air::UNIT, air::probe_data(air::element(2))))},
      {"fuzz_elements/base", air::ie(0, air::from_text("home")) + air::element(1)},
      {"fuzz_elements/unit-twice", air::element(2) + air::ie(1, {2, 4}) + air::element(2)},
      {"fuzz_elements/shortest", air::ie(0xDD, {0x02, 0x7E, 0x91})},
      {"fuzz_credential/four-settings", settings},
      {"fuzz_credential/empty-settings", air::credentials("", "", "", "")},
      {"fuzz_sat_key/key", air::sat_key_content(pem)},
      {"fuzz_sat_key/advertised-element", air::sat_key_content("key", 1)},
      {"fuzz_nvram_file/settings", air::from_text("# note\na=1\nb=x\\ny\\\\\nno end")},
      {"fuzz_pem/public-key", air::from_text(pem)}};
  for (const auto& [name, bytes] : inputs) {
    const std::filesystem::path path = std::filesystem::path(arguments[1]) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << std::string(bytes.begin(), bytes.end());
  }
  return 0;
}
