// Writes the seed corpora, from the tests' builders: fuzz_seeds FOLDER
#include <filesystem>
#include <fstream>
#include <iostream>

#include "program.h"
#include "support/air.h"

namespace {

using air::Bytes;
using air::operator+;

std::filesystem::path root;

void seed(const std::string& target, const std::string& name, const Bytes& bytes) {
  std::filesystem::create_directories(root / target);
  std::ofstream file(root / target / name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Bytes step(std::uint8_t code, const Bytes& arguments) {
  return Bytes{code} + arguments;
}
Bytes sized(const Bytes& content) {
  return air::be16(content.size()) + content;
}
Bytes probe(std::uint8_t from) {
  return step(STEP_PROBE, Bytes{from} + sized(air::element(2)));
}
Bytes frame(std::uint8_t from, std::uint8_t operation, const Bytes& data) {
  return step(STEP_FRAME, Bytes{from, operation} + sized(data));
}
Bytes sealed(std::uint8_t from, std::uint8_t operation, const Bytes& plain) {
  return step(STEP_SEALED, Bytes{from, operation} + sized(plain));
}

const std::string PEM =
    "-----BEGIN PUBLIC KEY-----\n"
    "MIIBIjANBgkqhkiG9w0BAQEFAAOCAQ8AMIIBCgKCAQEAwtd54mj2CMMZUXnJhD4m\n-----END PUBLIC KEY-----\n";

void seed_daemon() {
  const Bytes base = {3};
  const Bytes unit = {0};
  const Bytes joined = base + probe(1) + probe(2) + frame(1, 0, air::element(2)) +
                       sealed(1, 2, air::sat_key_content(PEM)) + step(STEP_SIGNALS, {3});
  seed("fuzz_daemon", "base_whole_handshake", joined);
  seed("fuzz_daemon", "base_wrong_element",
       base + probe(1) + sealed(1, 2, air::sat_key_content(PEM, 1)));
  const Bytes found = unit + step(STEP_SCAN, Bytes{6} + sized(air::element(1)));
  seed("fuzz_daemon", "unit_gives_up", found + step(STEP_PASS, {10}));
  seed("fuzz_daemon", "unit_whole_handshake",
       found + frame(9, 1, air::from_text(PEM)) + frame(9, 4, {}) +
           sealed(9, 3, air::credentials("net", "phrase", "aes", "psk2")) + step(STEP_PASS, {50}));
  seed("fuzz_daemon", "window_and_watchdog",
       base + step(STEP_NVRAM, {5, 1}) + step(STEP_PASS, {20}) + step(STEP_NVRAM, {9, 5}) +
           step(STEP_PASS, {1}));
  seed("fuzz_daemon", "raw_datagrams",
       base +
           step(STEP_DATAGRAM, sized(air::event(44, air::UNIT, air::probe_data(air::element(2))))) +
           step(STEP_EVENT, Bytes{59, 0, 0} + sized(air::action_frame_1004())));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: fuzz_seeds FOLDER\n";
    return 2;
  }
  root = argv[1];
  seed_daemon();
  seed("fuzz_elements", "ssid_and_unit", air::ie(0, air::from_text("home")) + air::element(2));
  seed("fuzz_elements", "foreign_and_base", air::ie(0xDD, {0, 0x50, 0xf2, 2}) + air::element(1));
  seed("fuzz_contents", "operation_1002", air::sat_key_content(PEM));
  seed("fuzz_contents", "operation_1003", air::credentials("net", "phrase", "aes", "psk2"));
  seed("fuzz_contents", "frame_1000", air::action_frame(0x1000, air::element(2)));
  seed("fuzz_pem", "truncated_key", air::from_text(PEM));
  seed("fuzz_nvram_file", "settings",
       air::from_text("blank_state=1\nbh_ssid=a\\nb\\\\c\nnonsense\n=none\nblank_state=0"));
}
