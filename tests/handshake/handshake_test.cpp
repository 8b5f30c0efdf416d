// The handshake where a transcript would be a table: every operation in every state, contents cut
// at every byte, hostile texts.
#include <filesystem>

#include "core/mode_table.h"
#include "core/timer_list.h"
#include "crypto/key_files.h"
#include "crypto/rsa_helpers.h"
#include "discovery/candidate_table.h"
#include "handshake/base_side.h"
#include "handshake/bh_credential.h"
#include "handshake/sat_key_content.h"
#include "handshake/unit_side.h"
#include "mode_entry.h"
#include "role/role_change.h"
#include "support/daemon_test.h"

namespace {

using air::Bytes;
using air::operator+;

class HandshakeTest : public DaemonTest {
 protected:
  HandshakeTest() {
    write_file(RSA_PRI_FILE, peer_key().private_pem);
    write_file(RSA_PUB_FILE, key_);
  }

  static void is_in(std::uint32_t mode, std::uint32_t stage = 0) {
    clear_timer();
    context.cur_mode = context.target_role = static_cast<OnboardMode>(mode);
    context.act_stage = static_cast<HandshakeStage>(stage);
  }

  const std::string key_ = peer_key().public_pem;
  Bytes sealed(const Bytes& plain) const { return encrypt_for(key_, plain); }

  // The operations of the frames that are sent in answer to one.
  std::string answers(int operation, const Bytes& data, const air::Mac& from) {
    forget();
    air_carries(static_cast<std::uint16_t>(operation), data, from);
    std::string sent;
    for (const std::string& entry : platform().journal) {
      const std::size_t at = entry.find("0409027e91");
      sent += at == std::string::npos ? "" : entry.substr(at + 10, 4);
    }
    return sent;
  }

  // Each operation as it would be accepted, and one that there is not.
  const std::map<int, Bytes> operations_ = {
      {0x1000, air::element(2)},
      {0x1001, air::from_text(key_)},
      {0x1002, sealed(air::sat_key_content(key_) + Bytes(RSA_DATA_MAX - 470))},
      {0x1003, sealed(air::credentials("net", "word", "aes", "psk2") + Bytes(RSA_DATA_MAX - 30))},
      {0x1004, {}},
      {0x1005, {1}}};
};

TEST_F(HandshakeTest, AKeyPairThatReachedNoFilesIsMadeAgainForAHello) {
  std::filesystem::remove(RSA_PUB_FILE);
  std::filesystem::create_directory(RSA_PUB_FILE);
  is_in(ONBOARD_MODE_BASE);
  enter_cur_mode();
  EXPECT_THAT(messages(), testing::HasSubstr("the own key pair is not written: Is a directory\n"));
  hears_probe_from(air::UNIT);
  EXPECT_EQ(count_commands("cat"), 0) << "of what somebody else has put there, say a pipe";
  for (const bool tried : {false, true, true}) {  // at once, and a second later each
    write_file(RSA_PRI_FILE, "old");
    answers(0x1000, air::element(2), air::UNIT);
    EXPECT_EQ(read_file(RSA_PRI_FILE) != "old", tried);
    EXPECT_EQ(messages().find("the own key pair"), std::string::npos);
    std::filesystem::remove(tried ? RSA_PUB_FILE : "");
    move_clock(1);
  }
  EXPECT_EQ(count_commands("cat"), 2);
  EXPECT_EQ(count_commands("wl actframe " + air::UNIT_TEXT + " 0409027e91100101c3"), 1);
  answers(0x1000, air::element(2), air::UNIT);
  EXPECT_EQ(count_commands("cat"), 0);
}

TEST_F(HandshakeTest, EachModeActsOnItsOperationsByStationAndStageWhateverTheAddress) {
  std::vector<air::Mac> senders = {air::UNIT, air::BASE, {}, {1, 0, 0x5e, 0, 0, 1}};
  senders.push_back({0xff, 0xff, 0xff, 0xff, 0xff, 0xff});
  std::size_t next = 0;
  for (std::uint32_t mode = 0; mode < ONBOARD_MODE_COUNT; ++mode) {
    for (const std::uint32_t stage : {0U, 1U, 2U, 3U, 5U}) {
      for (const auto& [operation, data] : operations_) {
        for (const bool known : {true, false}) {
          const air::Mac& from = senders[next++ % senders.size()];
          is_in(mode, stage);
          candidate_table[0].mac = known ? sta_text(from) : MacText{"stranger"};
          candidate_table[0].stage = stage;
          context.candidate_count = 1;
          const bool base = mode == ONBOARD_MODE_BASE || mode == ONBOARD_MODE_TEMP_ROUTER;
          const bool unit = mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
          const bool hello = base && known && operation == 0x1000;
          const bool unit_key = base && known && operation == 0x1002;
          const bool base_key = unit && operation == 0x1001;
          const bool extended = unit && operation == 0x1004 && stage == 3;
          const bool joined = unit && operation == 0x1003;
          EXPECT_EQ(answers(operation, data, from), hello      ? "1001"
                                                    : unit_key ? "1004"
                                                    : base_key ? "1002"
                                                               : "")
              << mode << ' ' << stage << ' ' << std::hex << operation;
          EXPECT_EQ(candidate_table[0].stage, hello ? 2 : unit_key ? 5 : stage);
          EXPECT_EQ(context.candidate_count, 1);
          EXPECT_EQ(context.act_stage, base_key ? 3 : extended ? 5 : stage);
          EXPECT_EQ(context.cur_mode, joined ? ONBOARD_MODE_TEMP_SATELLITE : mode);
        }
      }
    }
  }
}

TEST_F(HandshakeTest, AFrameCutAtAnyByteHasNoEffect) {
  is_in(ONBOARD_MODE_BASE);
  hears_probe_from(air::UNIT);
  const Bytes whole = air::action_frame(0x1000, air::element(2));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    receives(air::event(59, air::UNIT, {whole.begin(), whole.begin() + static_cast<long>(size)}));
    EXPECT_EQ(candidate_table[0].stage, size < 7 ? CANDIDATE_PROBED : CANDIDATE_HELLO) << size;
  }
  EXPECT_EQ(count_commands("wl"), 0);
}

TEST_F(HandshakeTest, ContentsCutAtAnyByteAreRefused) {
  const Bytes sat_key = air::sat_key_content("key");
  const Bytes credentials = air::credentials("net", "word", "aes", "psk2");
  ByteView key;
  CredentialElements elements{};
  for (std::size_t size = 0; size < sat_key.size(); ++size) {
    EXPECT_FALSE(read_sat_key(ByteView(sat_key).first(size), key)) << size;
  }
  for (std::size_t size = 0; size < credentials.size(); ++size) {
    EXPECT_FALSE(read_bh_credential(ByteView(credentials).first(size), elements)) << size;
  }
  EXPECT_TRUE(read_sat_key(sat_key, key) && read_bh_credential(credentials, elements));
}

TEST_F(HandshakeTest, AnEntryWithALiveTimerLeavesExactlyOne) {
  starts_in(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  const int descriptors = open_descriptors();
  unconfigured_act_handshake_mode_cfg();
  EXPECT_THAT(messages(), testing::HasSubstr("\nold timerfd detected: fd "));
  EXPECT_EQ(open_descriptors(), descriptors);
  forget();
  move_clock(5);
  dispatch_timers(epoll_fd);
  EXPECT_EQ(count_commands("wl"), 1);
}

TEST_F(HandshakeTest, NothingOfAHostileTextIsInACommand) {
  const std::string evil = "x;reboot|$(id)`id`&\n>/etc/passwd";
  platform().nvram = {{"bh_ssid", "a;$(b)"}, {"bh_wpa_psk", "`c`|d"}};
  platform().candidate_satellites = {air::UNIT_TEXT};
  is_in(ONBOARD_MODE_BASE);
  forget();
  receives(air::event(44, air::UNIT, air::probe_data(air::element(2)), "wl0;$(id)"));
  air_carries(0x1000, air::element(2) + air::from_text(evil), air::UNIT);
  air_carries(0x1002, sealed(air::sat_key_content(key_ + evil)), air::UNIT);
  act_op_1003_sender();
  is_in(ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  air_carries(0x1001, air::from_text(key_ + evil), air::BASE);
  air_carries(0x1003, sealed(air::credentials(evil.substr(0, 31), evil, "a;b", "$c")), air::BASE);
  EXPECT_EQ(platform().nvram["wl1_crypto"], "a;b");
  EXPECT_EQ(count_commands(""), 5);
  EXPECT_THAT(platform().journal,
              testing::Each(testing::MatchesRegex("[^$].*|\\$[a-zA-Z0-9_:. ]+")));
}

}  // namespace
