// What anybody within range may send, and what it may do.
#include "crypto/rsa_helpers.h"
#include "discovery/candidate_table.h"
#include "handshake/base_side.h"
#include "handshake/bh_credential.h"
#include "handshake/sat_key_content.h"
#include "role/role_monitor.h"
#include "support/daemon_test.h"

namespace {

using air::Bytes;
using air::operator+;

class AirRulesTest : public DaemonTest {
 protected:
  // A daemon in `mode` whose key pair is the peers' own, so that none has to be made.
  static void is_in(OnboardMode mode) {
    write_file(RSA_PRI_FILE, peer_key().private_pem);
    write_file(RSA_PUB_FILE, peer_key().public_pem);
    clear_timer();
    context.cur_mode = context.target_role = mode;
  }

  // The five operations and one that there is none of, each as it would be accepted.
  static std::map<int, Bytes> operations() {
    const std::string key = peer_key().public_pem;
    return {{0x1000, air::element(2)},
            {0x1001, air::from_text(key)},
            {0x1002, encrypt_for(key, air::sat_key_content(key))},
            {0x1003, encrypt_for(key, air::credentials("net", "word", "aes", "psk2"))},
            {0x1004, {}},
            {0x1005, {1}}};
  }

  // Operations sent and changes of state, such as "1001 2": one frame sent, a station's stage now.
  std::string effect(int operation, const Bytes& data, const air::Mac& from,
                     const std::uint32_t& state) {
    forget();
    air_carries(static_cast<std::uint16_t>(operation), data, from);
    std::string text;
    for (const std::string& command : commands()) {
      const std::size_t at = command.find("0409027e91");
      text += at == std::string::npos ? command : command.substr(at + 10, 4) + ' ';
    }
    return text + std::to_string(state);
  }
};

TEST_F(AirRulesTest, ABaseActsOnTwoOperationsOfStationsItKnowsWhateverTheirStageAndAddress) {
  const air::Mac addresses[] = {
      air::UNIT, {}, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, {0x01, 0, 0x5e, 0, 0, 1}, air::BASE};
  const auto all = operations();
  for (const auto mode : {ONBOARD_MODE_TEMP_ROUTER, ONBOARD_MODE_BASE}) {
    for (const air::Mac& from : addresses) {
      for (const std::uint32_t stage : {0U, 1U, 2U, 3U, 5U, 9U}) {
        for (const auto& [operation, data] : all) {
          is_in(mode);
          candidate_table.fill(CandidateEntry{});
          context.candidate_count = 0;
          if (stage != 9) {
            hears_probe_from(from);
            EXPECT_EQ(context.candidate_count, 1);
          }
          candidate_table[0].stage = stage;
          const std::string same = std::to_string(stage);
          const std::string expected = stage == 9            ? same
                                       : operation == 0x1000 ? "1001 2"
                                       : operation == 0x1002 ? "1004 5"
                                                             : same;
          EXPECT_EQ(effect(operation, data, from, candidate_table[0].stage), expected)
              << mode << ' ' << operation << ' ' << air::to_hex({from.begin(), from.end()});
          EXPECT_EQ(context.cur_mode, mode);
        }
      }
    }
  }
}

TEST_F(AirRulesTest, AUnitActsOnThreeOperationsByItsStageAndOtherModesOnNone) {
  const auto all = operations();
  for (std::uint32_t mode = 0; mode <= 6; ++mode) {
    for (const std::uint32_t stage : {1U, 3U, 5U}) {
      for (const auto& [operation, data] : all) {
        if (mode == ONBOARD_MODE_TEMP_ROUTER || mode == ONBOARD_MODE_BASE) {
          continue;
        }
        is_in(static_cast<OnboardMode>(mode));
        context.act_stage = stage;
        std::string expected = std::to_string(stage);
        std::uint32_t next_mode = mode;
        if (mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE) {
          expected = operation == 0x1001                 ? "1002 3"
                     : operation == 0x1004 && stage == 3 ? "5"
                                                         : expected;
          next_mode = operation == 0x1003 ? 3 : mode;
          expected = operation == 0x1003 ? "wl del_ie 16 11 02:7E:91 0000000308020101" + expected
                                         : expected;
        }
        EXPECT_EQ(effect(operation, data, air::BASE, context.act_stage), expected)
            << mode << ' ' << operation;
        EXPECT_EQ(context.cur_mode, next_mode) << mode << ' ' << operation << ' ' << stage;
      }
    }
  }
}

TEST_F(AirRulesTest, ContentsCutAtAnyByteAreRefused) {
  const Bytes sat_key = air::sat_key_content("key");
  const Bytes credentials = air::credentials("net", "word", "aes", "psk2");
  ByteView key;
  CredentialElements elements{};
  for (std::size_t size = 0; size <= sat_key.size(); ++size) {
    EXPECT_EQ(read_sat_key(Bytes(sat_key.begin(), sat_key.begin() + static_cast<long>(size)), key),
              size == sat_key.size());
  }
  for (std::size_t size = 0; size <= credentials.size(); ++size) {
    EXPECT_EQ(
        read_bh_credential(
            Bytes(credentials.begin(), credentials.begin() + static_cast<long>(size)), elements),
        size == credentials.size());
  }
}

TEST_F(AirRulesTest, AKeyTextIsReadToItsLengthWhateverEndsIt) {
  const std::string pem = peer_key().public_pem;
  RsaBuffer out{};
  std::uint16_t length = 0;
  for (const std::size_t size : {2047U, 2048U, 2049U}) {
    const std::string notes(size - pem.size() - 1, 'n');
    for (const std::string& text :
         {notes + "\n" + pem, pem + notes + "\n", pem + std::string(size - pem.size(), '\0')}) {
      const Bytes exact = air::from_text(text);
      rsa_encrypt_by_pub_key(exact, exact, out, length);
      EXPECT_EQ(length, 0) << "data over the bound";
      rsa_encrypt_by_pub_key(exact, clipped(exact, 0, 300), out, length);
      EXPECT_EQ(length, 512);
    }
    std::array<char, 2048> field;
    copy_text(field, air::from_text(std::string(size, 'k')));
    EXPECT_EQ(std::string(field.data()), std::string(2047, 'k'));
  }
}

TEST_F(AirRulesTest, WhatAStationLeftBehindIsNotThereWhenItComesAgain) {
  is_in(ONBOARD_MODE_BASE);
  const std::string key = peer_key().public_pem;
  hears_probe_from(air::UNIT);
  air_carries(0x1002, encrypt_for(key, air::sat_key_content(key)), air::UNIT);
  EXPECT_EQ(candidate_table[0].key_len, 451);
  air_carries(0x1002, Bytes(256, 0), air::UNIT);
  hears_probe_from(air::UNIT);
  EXPECT_EQ(std::string(candidate_table[0].pub_key.begin(), candidate_table[0].pub_key.end()),
            std::string(2048, '\0'));
  air_carries(0x1002, encrypt_for(key, air::sat_key_content(std::string("\0", 1) + key)),
              air::UNIT);
  platform().candidate_satellites = {air::UNIT_TEXT};
  forget();
  act_op_1003_sender();
  EXPECT_THAT(messages(), testing::HasSubstr(" client_pub_key = NULL \r\n"));
  EXPECT_TRUE(commands().empty());
}

TEST_F(AirRulesTest, ADatagramFullOfElementsIsWorkOnceForEach) {
  is_in(ONBOARD_MODE_BASE);
  Bytes many;
  for (int i = 0; i < 305; ++i) {
    many = many + air::element(2);
  }
  hears_probe_from(air::UNIT, many);
  const std::string log = messages();
  std::size_t seen = 0;
  for (std::size_t at = log.find("[Pelion OUI"); at != std::string::npos;
       at = log.find("[Pelion OUI", at + 1)) {
    ++seen;
  }
  EXPECT_EQ(seen, (4096U - 88U - 40U) / 13U);
  EXPECT_EQ(context.candidate_count, 1);
}

TEST_F(AirRulesTest, NothingOfAHostileTextIsInACommand) {
  const std::string evil = "x;reboot|$(id)`id`&\n>/etc/passwd";
  const std::string key = peer_key().public_pem;
  platform().nvram = {{"bh_ssid", "a;$(b)"}, {"bh_wpa_psk", "`c`|d"}};
  platform().candidate_satellites = {air::UNIT_TEXT};
  is_in(ONBOARD_MODE_BASE);
  receives(air::event(44, air::UNIT, air::probe_data(air::element(2)), "wl0;$(id)"));
  air_carries(0x1000, air::element(2) + air::from_text(evil), air::UNIT);
  air_carries(0x1002, encrypt_for(key, air::sat_key_content(key + evil)), air::UNIT);
  act_op_1003_sender();
  is_in(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  air_carries(0x1001, air::from_text(key + evil), air::BASE);
  air_carries(0x1003, encrypt_for(key, air::credentials(evil.substr(0, 31), evil, "a;b", "$c")),
              air::BASE);
  EXPECT_EQ(platform().nvram["wl1_crypto"], "a;b");
  EXPECT_EQ(commands().size(), 5U);
  EXPECT_THAT(commands(), testing::Each(testing::MatchesRegex("[a-zA-Z0-9_:. ]+")));
}

}  // namespace
