// Writes the first inputs of each target, built by the tests' builders and named after what they
// say, into the folder it is given.
#include <filesystem>
#include <fstream>

#include "crypto/rsa_helpers.h"
#include "harness.h"

using air::Bytes;

namespace {

std::filesystem::path corpus;

void write(const char* target, const std::string& name, const Bytes& bytes) {
  std::filesystem::create_directories(corpus / target);
  std::ofstream(corpus / target / name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
}

Bytes sized(const Bytes& bytes) {
  return air::be16(bytes.size()) + bytes;
}

std::string public_key() {
  boot(ONBOARD_MODE_BASE);  // which makes it
  std::ifstream file(RSA_PUB_FILE);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_programs(const std::string& pem, const Bytes& credentials) {
  const Bytes probe = Bytes{PROBE, 0} + sized(air::element(2));
  const Bytes hello = Bytes{ACTION_FRAME, 0, 0} + sized(air::element(2));
  const Bytes key = Bytes{SEALED_FRAME, 2, 0} + sized(air::sat_key_content(pem));
  const Bytes join = Bytes{START, 0, SCAN, 6} + sized(air::ie(0, {}) + air::element(1));
  const Bytes base_key = Bytes{ACTION_FRAME, 1, 1} + sized(air::from_text(pem));
  const Bytes wait = Bytes{EVENT, 59, 1, 0, 8} + sized(air::action_frame_1004());
  const Bytes done = Bytes{SEALED_FRAME, 3, 1} + sized(credentials);
  write("fuzz_daemon", "base-serves-a-unit",
        Bytes{SETTING, 6, 1} + probe + hello + key + Bytes{SIGNALS, 2, SIGNALS, 1});
  write("fuzz_daemon", "unit-joins-a-base", join + base_key + wait + done);
  write("fuzz_daemon", "unit-gives-up",
        join + Bytes{CLOCK, 36, CLOCK, 6} + join + base_key + Bytes{CLOCK, 36});
  write("fuzz_daemon", "router-loses-its-wan", Bytes{START, 2, CLOCK, 200, SETTING, 7, 7});
  write("fuzz_daemon", "unit-becomes-a-base",
        Bytes{START, 0, SETTING, 4, 5, SETTING, 0, 0, SETTING, 1, 3, START, 9});
  write("fuzz_daemon", "datagram",
        Bytes{DATAGRAM} + sized(air::event(44, air::UNIT, air::probe_data(air::element(2)))));
}

}  // namespace

int main(int count, char** arguments) {
  corpus = count > 1 ? arguments[1] : ".";
  const std::string pem = public_key();
  const Bytes credentials = air::credentials("backnet", "pa55word", "aes", "psk2");
  write_programs(pem, credentials);
  write("fuzz_elements", "base", air::ie(0, air::from_text("home")) + air::element(1));
  write("fuzz_elements", "unit-twice", air::element(2) + air::ie(1, {2, 4}) + air::element(2));
  write("fuzz_elements", "shortest", air::ie(0xDD, {0x02, 0x7E, 0x91}));
  write("fuzz_credential", "four-settings", credentials);
  write("fuzz_credential", "empty-settings", air::credentials("", "", "", ""));
  write("fuzz_sat_key", "key", air::sat_key_content(pem));
  write("fuzz_sat_key", "advertised-element", air::sat_key_content("key", 1));
  write("fuzz_nvram_file", "settings", air::from_text("# note\na=1\nb=x\\ny\\\\\nno end"));
  write("fuzz_pem", "public-key", air::from_text(pem));
  return 0;
}
