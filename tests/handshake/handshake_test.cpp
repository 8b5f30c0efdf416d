// Both sides of operations 1000 to 1004, and the frame that carries them.
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

#include "discovery/candidate_table.h"
#include "handshake/act_frame_parser.h"
#include "handshake/base_side.h"
#include "handshake/bh_credential.h"
#include "handshake/unit_side.h"
#include "role/role_monitor.h"
#include "support/daemon_test.h"

namespace {

using air::operator+;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string EVENT_LINE = "[recved brcm event]: WLC_E_ACTION_FRAME on wl0 STA: ";
const std::string HEAD =
    "category(04) public_action(09)\nOUI[02 7E 91]\n"
    "[Pelion action frame detected!!]\n===== dump act payload =====\n";
const std::string TAIL = "============================\n";

// The data part of an "actframe" command, after its fixed prefix and four length digits.
air::Bytes data_of(const std::string& command, const std::string& prefix) {
  const std::size_t at = command.find(prefix);
  EXPECT_NE(at, std::string::npos) << command;
  const std::string digits = command.substr(at + prefix.size());
  const std::size_t length = std::stoul(digits.substr(0, 4), nullptr, 16);
  const std::string hex = digits.substr(4, digits.find(' ', 4) - 4);
  EXPECT_EQ(hex.size(), 2 * length);
  return air::from_hex(hex);
}

class FrameTest : public DaemonTest {};

TEST_F(FrameTest, EachModeServesItsOperationsAndNamesTheOthers) {
  struct Case {
    OnboardMode mode;
    std::vector<std::uint16_t> served;
  };
  const Case cases[] = {{ONBOARD_MODE_TEMP_ROUTER, {0x1000, 0x1002}},
                        {ONBOARD_MODE_BASE, {0x1000, 0x1002}},
                        {ONBOARD_MODE_UNCFG_ACT_HANDSHAKE, {0x1001, 0x1003, 0x1004}}};
  for (const Case& c : cases) {
    starts_in(c.mode);
    for (std::uint16_t attr_id = 0x0FFF; attr_id <= 0x1005; ++attr_id) {
      forget();
      air_carries(attr_id, air::Bytes(1100, 1), air::UNIT);
      const bool served = std::count(c.served.begin(), c.served.end(), attr_id) == 1;
      const std::string number = air::to_hex(air::be16(attr_id));
      const bool unsupported = messages().find("Unsupport attr_id:") != std::string::npos;
      EXPECT_EQ(unsupported, !served) << c.mode << " " << number;
      EXPECT_EQ(context.cur_mode, c.mode);
    }
  }
  EXPECT_THAT(messages(),
              testing::EndsWith("Got action frame with attr_id:1005 from STA: " + air::UNIT_TEXT +
                                "\nUnsupport attr_id:1005 from STA: " + air::UNIT_TEXT + "\n"));
  for (const std::uint32_t mode : {0U, 3U, 4U, 6U, 7U}) {
    context.cur_mode = static_cast<OnboardMode>(mode);
    forget();
    const air::Bytes frame = air::action_frame_1004();
    DriverEventMsg event{};
    event.data = frame;
    parse_act_frame(event, "sta");
    EXPECT_THAT(messages(),
                testing::EndsWith("Got action frame with attr_id:1004 from STA: sta\n"));
  }
}

TEST_F(FrameTest, TheDumpShowsEveryByte) {
  starts_in(ONBOARD_MODE_BASE);
  platform().nvram["vorlent_dbg"] = "1";
  air_carries(0x1000, air::element(2), air::UNIT);
  EXPECT_THAT(messages(), StartsWith(EVENT_LINE + air::UNIT_TEXT + "\n" + HEAD +
                                     "attr_id(1000) data_len(D)(13)\ndata:[\n"
                                     "DD 0B 02 7E 91 00 00 00 03 08 02 01 01 ]\n" +
                                     TAIL + "Got action frame with attr_id:1000 from STA: " +
                                     air::UNIT_TEXT + "\n"));
  EXPECT_THAT(printed(), HasSubstr("data:[\nDD 0B 02 7E 91 00 00 00 03 08 02 01 01 ]\n[onbo"));
  context.cur_mode = ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
  forget();
  air_carries_1004();
  EXPECT_THAT(messages(), HasSubstr("attr_id(1004) data_len(0)(0)\n" + TAIL));
}

TEST_F(FrameTest, ForeignFramesAreDroppedAtTheirFirstDifference) {
  starts_in(ONBOARD_MODE_BASE);
  receives(air::event(59, air::UNIT, air::from_hex("0409027e92100400")));
  EXPECT_EQ(messages(),
            EVENT_LINE + air::UNIT_TEXT + "\ncategory(04) public_action(09)\nOUI[02 7E 92]\n");
  for (const auto mode : {ONBOARD_MODE_BASE, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE}) {
    context.cur_mode = mode;
    for (const char* frame : {"0509027e911004", "0408027e911004", "04", ""}) {
      forget();
      receives(air::event(59, air::UNIT, air::from_hex(frame)));
      EXPECT_EQ(messages(), EVENT_LINE + air::UNIT_TEXT + "\n");
    }
  }
  forget();
  receives(air::event(69, air::UNIT, air::action_frame_1004()));
  EXPECT_EQ(messages(), "");
}

TEST_F(FrameTest, AFrameCutAtAnyByteIsDroppedWithALine) {
  starts_in(ONBOARD_MODE_BASE);
  hears_probe_from(air::UNIT);
  const air::Bytes whole = air::action_frame(0x1000, air::element(2));
  for (std::size_t size = 2; size < whole.size(); ++size) {
    forget();
    receives(air::event(59, air::UNIT,
                        air::Bytes(whole.begin(), whole.begin() + static_cast<long>(size))));
    if (size == 7) {
      continue;  // a whole frame without data
    }
    const char* field = size < 5 ? "OUI" : size < 7 ? "attr_id" : size < 9 ? "data_len" : "data";
    EXPECT_THAT(messages(), HasSubstr("drop action frame of " + std::to_string(size) +
                                      " bytes from STA: " + air::UNIT_TEXT + ": " + field +
                                      " cut off or too large\n"));
    EXPECT_EQ(candidate_table[0].stage, size < 7 ? CANDIDATE_PROBED : CANDIDATE_HELLO);
  }
  EXPECT_EQ(count_commands("wl"), 0);
}

TEST_F(FrameTest, DataEndsAt1800BytesAndPaddingIsIgnored) {
  starts_in(ONBOARD_MODE_BASE);
  air_carries(0x1005, air::Bytes(1800, 1), air::UNIT);
  EXPECT_THAT(messages(), HasSubstr("data_len(708)(1800)\n"));
  forget();
  air_carries(0x1005, air::Bytes(1801, 1), air::UNIT);
  EXPECT_THAT(messages(), HasSubstr(": data_len cut off or too large\n"));
  EXPECT_THAT(messages(), Not(HasSubstr("dump act payload")));
  forget();
  receives(air::event(59, air::UNIT, air::action_frame(0x1005, {7}) + air::Bytes(50, 9)));
  EXPECT_THAT(messages(), HasSubstr("data:[\n07 ]\n"));
}

class BaseSideTest : public DaemonTest {
 protected:
  BaseSideTest() {
    starts_in(ONBOARD_MODE_BASE);
    base_key_ = read_file("/tmp/rsa_pub.pem");
  }

  CandidateEntry& candidate(std::size_t slot = 0) { return candidate_table[slot]; }

  // Operation 1002 as a unit sends it, encrypted for this base.
  void unit_sends_1002(const air::Bytes& plaintext, const air::Mac& unit = air::UNIT) {
    air_carries(0x1002, encrypt_for(base_key_, plaintext), unit);
  }

  // Brings a station to the point where it waits for its credentials.
  void make_ready(const air::Mac& unit) {
    hears_probe_from(unit);
    unit_sends_1002(air::sat_key_content(peer_key().public_pem), unit);
  }

  static air::Mac unit_number(std::uint8_t number) { return {2, 0, 0, 0, 0, number}; }

  std::string base_key_;
};

TEST_F(BaseSideTest, AnswersACandidatesHelloWithItsKey) {
  hears_probe_from(air::UNIT);
  forget();
  air_carries(0x1000, air::element(2), air::UNIT);
  EXPECT_EQ(candidate().stage, CANDIDATE_BASE_KEY_SENT);
  ASSERT_EQ(commands().size(), 1U);
  EXPECT_EQ(commands()[0], "wl actframe " + air::UNIT_TEXT + " 0409027e91100101c3" +
                               air::to_hex(air::from_text(base_key_)));
  const std::string log = messages();
  EXPECT_THAT(log, HasSubstr("send: 0 wait: 0 \nSTA: " + air::UNIT_TEXT +
                             "\nPUB_key(0):\n\nFound " + air::UNIT_TEXT +
                             " in support list.\n"
                             "============Dump Pelion IE================\n"));
  EXPECT_THAT(log, testing::EndsWith("Match prod plon_vie_data: 01\n"
                                     "==================================\n"
                                     "send: 1001 wait: 1002 \ncmd: " +
                                     commands()[0] + "\n"));
  EXPECT_EQ(context.act_op_sent, 1001U);
  EXPECT_EQ(context.act_op_wait, 1002U);
  EXPECT_THAT(printed(), HasSubstr("memory key(451): " + base_key_ + "\nhex_string(2049): \n" +
                                   air::to_hex(air::from_text(base_key_)) +
                                   std::string(std::size_t{2} * (1024 - 451), '0') + "\n"));
}

TEST_F(BaseSideTest, DoesNotAnswerStrangersAndWrongElements) {
  air_carries(0x1000, air::element(2), air::UNIT);
  EXPECT_THAT(messages(), testing::EndsWith("Cannot found " + air::UNIT_TEXT +
                                            " in support list.\nCannot find the client (" +
                                            air::UNIT_TEXT + ") from candidate list.\n"));
  hears_probe_from(air::UNIT);
  candidate().stage = CANDIDATE_READY;
  forget();
  for (const air::Bytes& wrong : {air::element(2, 2), air::element(1), air::Bytes{}}) {
    air_carries(0x1000, wrong, air::UNIT);
    EXPECT_THAT(messages(), testing::EndsWith("Invalid ie.\n"));
    EXPECT_EQ(candidate().stage, CANDIDATE_HELLO);
  }
  EXPECT_TRUE(commands().empty());
}

TEST_F(BaseSideTest, AMissingKeyFileIsAnsweredWithoutData) {
  hears_probe_from(air::UNIT);
  forget();
  ASSERT_EQ(unlink("/tmp/rsa_pub.pem"), 0);
  air_carries(0x1000, air::element(2), air::UNIT);
  EXPECT_THAT(commands(), ElementsAre("wl actframe " + air::UNIT_TEXT + " 0409027e9110010000"));
}

TEST_F(BaseSideTest, StoresTheUnitsKeyAndTellsItToWait) {
  const std::string pem = peer_key().public_pem;
  hears_probe_from(air::UNIT);
  forget();
  unit_sends_1002(air::sat_key_content(pem));
  EXPECT_EQ(candidate().stage, CANDIDATE_READY);
  EXPECT_EQ(candidate().key_len, 451);
  EXPECT_EQ(candidate().pub_key.data(), pem);
  const std::string wait = "wl actframe " + air::UNIT_TEXT + " 0409027e911004";
  EXPECT_THAT(commands(), ElementsAre(wait));
  const std::string element = "dd 0b 02 7e 91 00 00 00 03 08 02 01 02 ";
  const std::string log = messages();
  const std::string file = read_file(CANDIDATE_FILE);
  EXPECT_THAT(log, HasSubstr("send: 0 wait: 0 \ndecode(512):\n\x01\ntag#1: 01\nlen: 00 0d\nie:" +
                             element + "tag#2: 02\nlen: 01 c3\npub key: " + pem +
                             "\ntag_1:1len:13(13)============Dump Pelion IE======"));
  EXPECT_THAT(log, testing::EndsWith("valid ie.\nFound " + air::UNIT_TEXT +
                                     " in support list.\npub_key(451):" + pem +
                                     "send: 1004 wait: 0 \ncmd: " + wait + "\n" + file + "\n"));
  EXPECT_THAT(file, HasSubstr("\"mac\":\t\"" + air::UNIT_TEXT + "\""));
  EXPECT_THAT(file, HasSubstr("-----BEGIN PUBLIC KEY-----\\n"));

  forget();
  unit_sends_1002(air::sat_key_content("short"));
  EXPECT_THAT(commands(), ElementsAre(wait));
  EXPECT_EQ(std::string(candidate().pub_key.begin(), candidate().pub_key.begin() + 460),
            "short" + std::string(455, '\0'));
  forget();
  air_carries(0x1000, air::element(2), air::UNIT);
  EXPECT_EQ(candidate().stage, CANDIDATE_BASE_KEY_SENT);
  EXPECT_EQ(candidate().key_len, 5);
}

TEST_F(BaseSideTest, AContentThatFailsTheElementCheckRemovesTheStation) {
  const air::Bytes good = air::sat_key_content(peer_key().public_pem);
  const std::pair<const char*, air::Bytes> cases[] = {
      {"advertised element", encrypt_for(base_key_, air::sat_key_content("key", 1))},
      {"for another base", encrypt_for(peer_key().public_pem, good)},
      {"no data", {}},
      {"above the modulus", air::Bytes(256, 0xff)}};
  for (const auto& [name, cipher] : cases) {
    hears_probe_from(air::UNIT);
    hears_probe_from(air::BASE);
    forget();
    air_carries(0x1002, cipher, air::UNIT);
    EXPECT_EQ(context.candidate_count, 1) << name;
    EXPECT_THAT(messages(),
                HasSubstr("Remove sta " + air::UNIT_TEXT + " from candidate list.\nInvalid ie.\n"));
    EXPECT_THAT(messages(), testing::EndsWith("}\n"));
  }
  ASSERT_EQ(unlink("/tmp/rsa_pri.pem"), 0);
  hears_probe_from(air::UNIT);
  unit_sends_1002(good);
  EXPECT_EQ(context.candidate_count, 1);
  EXPECT_TRUE(commands().empty());
}

TEST_F(BaseSideTest, AContentThatBreaksABoundChangesNothing) {
  hears_probe_from(air::UNIT);
  const auto lengths = [this](std::size_t first, std::size_t key) {
    air::Bytes content = air::sat_key_content(std::string(400, 'k'));
    content[1] = static_cast<std::uint8_t>(first >> 8U);
    content[2] = static_cast<std::uint8_t>(first);
    content[17] = static_cast<std::uint8_t>(key >> 8U);
    content[18] = static_cast<std::uint8_t>(key);
    return encrypt_for(base_key_, content);
  };
  for (const air::Bytes& cipher : {lengths(13, 494), lengths(13, 0xffff), lengths(0xffff, 5),
                                   lengths(507, 5), lengths(509, 5), air::Bytes(1025, 0)}) {
    forget();
    air_carries(0x1002, cipher, air::UNIT);
    EXPECT_THAT(messages(), HasSubstr("drop operation 1002 from STA: " + air::UNIT_TEXT));
    EXPECT_EQ(candidate().stage, CANDIDATE_PROBED);
    EXPECT_EQ(candidate().key_len, 0);
    EXPECT_TRUE(commands().empty());
  }
  air_carries(0x1002, lengths(13, 493), air::UNIT);
  EXPECT_EQ(candidate().key_len, 493);
}

TEST_F(BaseSideTest, AValidKeyFromAStrangerLeavesNoTrace) {
  unit_sends_1002(air::sat_key_content("key"));
  EXPECT_THAT(messages(), HasSubstr("valid ie.\nCannot found " + air::UNIT_TEXT));
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(access(CANDIDATE_FILE, F_OK), 0);
}

TEST_F(BaseSideTest, ThePushServesApprovedStationsWithAKeyAndEmptiesTheTable) {
  platform().nvram.insert({{"bh_ssid", "backnet"},
                           {"bh_wpa_psk", "pa55word"},
                           {"bh_crypto", "aes"},
                           {"bh_akm", "psk2"}});
  make_ready(unit_number(1));
  make_ready(unit_number(2));
  hears_probe_from(unit_number(3));
  make_ready(unit_number(4));
  candidate(3).stage = CANDIDATE_HELLO;  // the stage does not matter
  platform().candidate_satellites = {"02:00:00:00:00:01", "02:00:00:00:00:03", "02:00:00:00:00:04"};
  forget();
  act_op_1003_sender();
  ASSERT_EQ(commands().size(), 2U);
  const air::Bytes content = air::credentials("backnet", "pa55word", "aes", "psk2");
  ASSERT_EQ(content.size(), 38U);
  for (const auto& [index, mac] :
       {std::pair<std::size_t, std::string>{0, "02:00:00:00:00:01"}, {1, "02:00:00:00:00:04"}}) {
    EXPECT_THAT(commands()[index], StartsWith("wl actframe " + mac + " 0409027e9110030100"));
    air::Bytes plain =
        decrypt_with(peer_key().private_pem, data_of(commands()[index], "0409027e911003"));
    EXPECT_EQ(plain, content + air::Bytes(256 - 38, 0));
  }
  const std::string log = messages();
  EXPECT_THAT(log, StartsWith("send: 1003 wait: 0 \n"
                              "tag:01\ntag_len:00 08\nbh_ssid: backnet\n"
                              "tag:02\ntag_len:00 09\nbh_passwd: pa55word\n"
                              "tag:03\ntag_len:00 04\nbh_crypto: aes\n"
                              "tag:04\ntag_len:00 05\nbh_akm: psk2\ncontent len: 38\n"
                              "tag:01\ntag_len:8\nbh_ssid: backnet\n"
                              "tag:02\ntag_len:9\nbh_passwd: pa55word\n"
                              "tag:03\ntag_len:4\nbh_crypto: aes\n"
                              "tag:04\ntag_len:5\nbh_akm: psk2\n" +
                              peer_key().public_pem + " \nsat_key_encrypt_len:256\ncmd: " +
                              commands()[0] + "\n" + peer_key().public_pem +
                              " \n mac not found \r\n \n client_pub_key = NULL \r\n"));
  EXPECT_THAT(log, testing::EndsWith("cmd: " + commands()[1] + "\n"));
  EXPECT_EQ(context.candidate_count, 0);
  EXPECT_EQ(candidate_table[0].pub_key[0], '\0');
  EXPECT_NE(access(CANDIDATE_FILE, F_OK), 0);
}

TEST_F(BaseSideTest, APushWithoutStationsDeletesTheFile) {
  write_file(CANDIDATE_FILE, "{}");
  act_op_1003_sender();
  EXPECT_NE(access(CANDIDATE_FILE, F_OK), 0);
  EXPECT_TRUE(commands().empty());
}

TEST_F(BaseSideTest, SettingsThatNoUnitCanHoldStopThePushAndKeepEverything) {
  platform().candidate_satellites = {air::UNIT_TEXT};
  make_ready(air::UNIT);
  const std::tuple<const char*, std::size_t> limits[] = {
      {"bh_ssid", 31}, {"bh_wpa_psk", 63}, {"bh_crypto", 15}, {"bh_akm", 15}};
  for (const auto& [key, longest] : limits) {
    forget();
    platform().nvram[key] = std::string(longest + 1, 'x');
    act_op_1003_sender();
    EXPECT_THAT(messages(),
                HasSubstr("push refused: NVRAM " + std::string(key) + " is longer than"));
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(context.candidate_count, 1);
    EXPECT_EQ(access(CANDIDATE_FILE, F_OK), 0);
    platform().nvram[key] = std::string(longest, 'x');
  }
  act_op_1003_sender();
  EXPECT_EQ(count_commands("wl actframe " + air::UNIT_TEXT + " 0409027e9110030100"), 1);
}

TEST_F(BaseSideTest, AKeyThatIsNoneGetsAnEmptyFrame) {
  platform().candidate_satellites = {air::UNIT_TEXT};
  hears_probe_from(air::UNIT);
  unit_sends_1002(air::sat_key_content("garbage"));
  forget();
  act_op_1003_sender();
  EXPECT_THAT(commands(), ElementsAre("wl actframe " + air::UNIT_TEXT + " 0409027e9110030000"));
}

TEST_F(BaseSideTest, ExtendingSpeaksToEveryCandidateInTableOrder) {
  for (const std::uint8_t number : {std::uint8_t{3}, std::uint8_t{1}, std::uint8_t{2}}) {
    hears_probe_from(unit_number(number));
  }
  forget();
  extend_all_candidates();
  EXPECT_THAT(commands(), ElementsAre("wl actframe 02:00:00:00:00:03 0409027e911004",
                                      "wl actframe 02:00:00:00:00:01 0409027e911004",
                                      "wl actframe 02:00:00:00:00:02 0409027e911004"));
  EXPECT_EQ(candidate().stage, CANDIDATE_PROBED);
}

TEST_F(BaseSideTest, TheContentHoldsAnySettingsThatFitTheBuffer) {
  RsaBuffer buf{};
  EXPECT_EQ(generate_bh_credential_content(buf), 16);
  EXPECT_EQ(air::to_hex({buf.begin(), buf.begin() + 16}), "01000100020001000300010004000100");
  platform().nvram["bh_ssid"] = std::string(255, 's');
  buf.fill(0);
  EXPECT_EQ(generate_bh_credential_content(buf), 16 + 255);
  EXPECT_EQ(air::to_hex({buf.begin(), buf.begin() + 4}), "01010073");
  platform().nvram["bh_akm"] = std::string(1024 - 16 - 255, 'a');
  buf.fill(0);
  EXPECT_EQ(generate_bh_credential_content(buf), 1024);
  platform().nvram["bh_akm"] += 'a';
  buf.fill(0);
  EXPECT_EQ(generate_bh_credential_content(buf), 0);
  EXPECT_EQ(buf, RsaBuffer{});
}

class UnitSideTest : public DaemonTest {
 protected:
  UnitSideTest() {
    starts_in(ONBOARD_MODE_UNCONFIGURED);
    platform().nvram["blank_state"] = "1";
    air::Scan scan;
    scan.elements = air::element(1);
    hears_beacon(scan);
    hello_ = "wl actframe " + air::BASE_BSSID + " 0409027e911000000ddd0b027e910000000308020101 6";
  }

  void base_sends_1001(const std::string& pem = peer_key().public_pem) {
    air_carries(0x1001, air::from_text(pem), air::BASE);
  }
  void base_sends_1003(const air::Bytes& content) {
    air_carries(0x1003, encrypt_for(read_file("/tmp/rsa_pub.pem"), content), air::BASE);
  }

  const std::string key_frame_ = "wl actframe " + air::BASE_BSSID + " 0409027e911002";
  std::string hello_;
};

TEST_F(UnitSideTest, TheEntryGoesOffTheAirMakesAKeyAndSaysHello) {
  EXPECT_THAT(platform().journal,
              ElementsAre("$ wl csa 0 5 6", "set onboarding_role=1",
                          "$ wl del_ie 16 11 02:7E:91 0000000308020101", "$ cat /tmp/rsa_pri.pem",
                          "$ cat /tmp/rsa_pub.pem", "$ " + hello_));
  EXPECT_THAT(messages(), testing::EndsWith("check alive timers.\nGo to action frame handshake...\n"
                                            "wl del_ie 16 11 02:7E:91 0000000308020101\n"
                                            "send: 1000 wait: 1001 \ncmd: " +
                                            hello_ + "\n"));
  EXPECT_EQ(context.act_stage, 1U);
  EXPECT_GT(context.act_timer_fd, 0);
  EXPECT_EQ(mode_timer_fd, 0);
}

TEST_F(UnitSideTest, TheLogNamesTheOperationThatSpeaks) {
  platform().candidate_satellites = {air::UNIT_TEXT};
  base_sends_1001();
  air_carries_1004();
  base_sends_1003(air::credentials("s", "p", "c", "a"));
  const std::string before = platform().log;
  starts_in(ONBOARD_MODE_BASE);
  platform().log = before;
  hears_probe_from(air::UNIT);
  air_carries(0x1000, air::element(2), air::UNIT);
  air_carries(
      0x1002,
      encrypt_for(read_file("/tmp/rsa_pub.pem"), air::sat_key_content(peer_key().public_pem)),
      air::UNIT);
  act_op_1003_sender();
  std::map<std::string, int> lines;
  static const std::regex prefix(R"(\[([A-Za-z_0-9]+)\]\[[0-9]+\])");
  for (std::sregex_iterator at(platform().log.begin(), platform().log.end(), prefix), end;
       at != end; ++at) {
    ++lines[(*at)[1]];
  }
  EXPECT_EQ(lines, (std::map<std::string, int>{{"act_op_1000_sender", 1},
                                               {"act_op_1001_handler", 2},
                                               {"act_op_1001_sender", 1},
                                               {"act_op_1002_handler", 11},
                                               {"act_op_1002_sender", 8},
                                               {"act_op_1003_handler", 13},
                                               {"act_op_1003_sender", 3},
                                               {"act_op_1004_handler", 1},
                                               {"act_op_1004_sender", 1},
                                               {"act_op_tracker", 9},
                                               {"check_in_candidate_list", 2},
                                               {"check_plon_ie", 12},
                                               {"clear_timer", 2},
                                               {"dump_act_frame_payload", 19},
                                               {"dump_bh_credential_content", 12},
                                               {"dump_current_support_list", 2},
                                               {"dump_plon_ie", 40},
                                               {"dump_target_bss_info", 18},
                                               {"generate_bh_credential_content", 13},
                                               {"parse_act_frame", 20},
                                               {"parse_plon_ie_from_probe", 2},
                                               {"role_bakery", 3},
                                               {"router_register", 2},
                                               {"temp_sat_mode_cfg", 1},
                                               {"uncfg_act_handshake_register", 3},
                                               {"uncfg_register", 8},
                                               {"unconfigured_act_handshake_mode_cfg", 2}}));
}

TEST_F(UnitSideTest, AnEntryWithALiveTimerLeavesExactlyOne) {
  const int old_timer = context.act_timer_fd;
  const int descriptors = open_descriptors();
  forget();
  unconfigured_act_handshake_mode_cfg();
  EXPECT_THAT(messages(),
              testing::EndsWith("old timerfd detected: fd " + std::to_string(old_timer) + "\n"));
  EXPECT_EQ(open_descriptors(), descriptors);
  forget();
  pass(5);
  EXPECT_THAT(commands(), ElementsAre(hello_));
}

TEST_F(UnitSideTest, ASilentBaseIsGivenUpAfterSixResends) {
  forget();
  pass(30);
  EXPECT_THAT(commands(), testing::Each(hello_));
  EXPECT_EQ(commands().size(), 6U);
  pass(4);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  forget();
  pass(1);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
  EXPECT_EQ(context.need_restart, 0U);
  EXPECT_THAT(commands(), ElementsAre("wl add_ie 16 11 02:7E:91 0000000308020101",
                                      "wl escanresults > /tmp/escanresults_log"));
  EXPECT_EQ(platform().journal.back(), "reset_to_uncfg_mode");
  EXPECT_EQ(context.act_timer_fd, 0);
  EXPECT_THAT(messages(), StartsWith("target_role:cur_role >> (0:1)\n"));
  pass(5);
  EXPECT_EQ(count_commands("wl escanresults"), 2) << "the search's own timer must live";
  EXPECT_EQ(count_commands("wl actframe"), 0);
}

TEST_F(UnitSideTest, TheBasesKeyIsAnsweredWithTheUnitsOwn) {
  pass(17);
  const int old_timer = context.act_timer_fd;
  forget();
  base_sends_1001();
  const std::string own = read_file("/tmp/rsa_pub.pem");
  ASSERT_EQ(commands().size(), 1U);
  EXPECT_THAT(commands()[0], StartsWith(key_frame_ + "0200"));
  EXPECT_THAT(commands()[0], testing::EndsWith(" 6"));
  EXPECT_EQ(decrypt_with(peer_key().private_pem, data_of(commands()[0], "0409027e911002")),
            air::sat_key_content(own) + air::Bytes(512 - 470, 0));
  EXPECT_EQ(context.target.base_pub_key.data(), peer_key().public_pem);
  EXPECT_EQ(context.target.key_len, 451);
  EXPECT_EQ(context.act_stage, 3U);
  EXPECT_NE(context.act_timer_fd, old_timer);
  const std::string pem = peer_key().public_pem;
  EXPECT_THAT(messages(),
              HasSubstr("dump base pub key: \n" + pem +
                        "\n======Dump Tartget BSS info==========\n"
                        "Target BSS:\nBSSID: AC:10:20:30:40:50\nchannel: 6\nbase_pub_key: " +
                        pem + "\nkey_len: 451\n"));
  EXPECT_THAT(messages(),
              HasSubstr("send: 1002 wait: 1003 \ntag: 01\nlen: 00 0d\nie:"
                        "dd 0b 02 7e 91 00 00 00 03 08 02 01 02 \ntag:02\nlen: 01 c3\npub key: " +
                        own + "\nsat_key_encrypt_len:512\ncmd: " + commands()[0] +
                        "\nold timerfd detected: fd " + std::to_string(old_timer) + "\n"));
  forget();
  pass(30);
  EXPECT_EQ(count_commands(key_frame_), 6);
  EXPECT_EQ(commands().size(), 6U);
  pass(5);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
}

TEST_F(UnitSideTest, AKeyOfOneExchangeLeavesNothingBehindInTheNext) {
  base_sends_1001(std::string(1023, 'k'));
  EXPECT_EQ(context.target.key_len, 1023);
  forget();
  base_sends_1001("short");
  EXPECT_EQ(
      std::string(context.target.base_pub_key.begin(), context.target.base_pub_key.begin() + 1100),
      "short" + std::string(1095, '\0'));
  EXPECT_THAT(commands(), ElementsAre(key_frame_ + "0000 6"));  // not a key: nothing to say
  forget();
  base_sends_1001(std::string(1024, 'k'));
  EXPECT_THAT(messages(), testing::EndsWith("drop operation 1001 from STA: ac:10:20:30:40:50: key "
                                            "of 1024 bytes, at most 1023\n"));
  EXPECT_EQ(context.target.key_len, 5);
  EXPECT_TRUE(commands().empty());
}

TEST_F(UnitSideTest, WithoutItsOwnKeyFileItSendsAnEmptyOne) {
  ASSERT_EQ(unlink("/tmp/rsa_pub.pem"), 0);
  forget();
  base_sends_1001();
  EXPECT_EQ(decrypt_with(peer_key().private_pem, data_of(commands()[0], "0409027e911002")),
            air::sat_key_content("") + air::Bytes(256 - 19, 0));
  write_file("/tmp/rsa_pub.pem", std::string(1006, 'k'));
  forget();
  base_sends_1001();
  EXPECT_THAT(messages(), HasSubstr("own public key of 1006 bytes is too long\n"));
  EXPECT_THAT(commands()[0], StartsWith(key_frame_ + "0100"));
  write_file("/tmp/rsa_pub.pem", std::string(1005, 'k'));
  forget();
  base_sends_1001();
  EXPECT_THAT(commands()[0], StartsWith(key_frame_ + "0400"));
}

TEST_F(UnitSideTest, TheWaitIsExtendedOnceAndOnlyAtItsStage) {
  forget();
  air_carries_1004();
  EXPECT_THAT(messages(), testing::EndsWith("send: 0 wait: 1003 \n"
                                            "extend 15 minutes for waiting 1003...\n"
                                            "Unexpected stage: 1\n"));
  EXPECT_EQ(context.act_stage, 1U);
  base_sends_1001();
  pass(7);
  const int timer = context.act_timer_fd;
  forget();
  air_carries_1004();
  EXPECT_EQ(context.act_stage, 5U);
  EXPECT_EQ(context.act_timer_fd, timer);
  EXPECT_THAT(printed(), HasSubstr("timeout in 900 secs, retry interval: 0 \n"));
  pass(450);
  air_carries_1004();
  EXPECT_THAT(messages(), testing::EndsWith("Unexpected stage: 5\n"));
  EXPECT_TRUE(commands().empty());
  pass(449);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  pass(1);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
  EXPECT_EQ(context.need_restart, 0U);
}

TEST_F(UnitSideTest, ARepeatedKeyStartsTheResendsAgainAtAnyStage) {
  base_sends_1001();
  air_carries_1004();
  forget();
  base_sends_1001();
  EXPECT_EQ(context.act_stage, 3U);
  pass(5);
  EXPECT_EQ(count_commands(key_frame_), 2);
}

TEST_F(UnitSideTest, CredentialsAreStoredAtAnyStageAndEndTheHandshake) {
  const air::Bytes content = air::credentials("backnet", "pa55word", "aes", "psk2");
  for (const int stage : {1, 3, 5}) {
    context.cur_mode = ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
    context.need_restart = 0;
    context.target.bh_ssid = {"longer old name"};
    unconfigured_act_handshake_mode_cfg();
    if (stage >= 3) {
      base_sends_1001();
    }
    if (stage == 5) {
      air_carries_1004();
    }
    const int descriptors = open_descriptors();
    forget();
    base_sends_1003(content);
    EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_SATELLITE);
    EXPECT_EQ(context.need_restart, 1U);
    EXPECT_EQ(context.act_timer_fd, 0);
    EXPECT_EQ(open_descriptors(), descriptors);
    clear_timer();
  }
  EXPECT_THAT(messages(),
              HasSubstr("send: 0 wait: 0 \ndecode(256):\n\x01\n"
                        "tag#1: 01\nssid_len: 8\nssid: backnet\n"
                        "tag#2: 02\npasswd_len: 9\npasswd: pa55word\n"
                        "tag#3: 03\ncrypt_len: 4\ncrypto: aes\n"
                        "tag#4: 04\nakm_len: 5\nakm: psk2\n======Dump Tartget BSS info"));
  EXPECT_THAT(messages(), HasSubstr("bh_ssid: backnet\nbh_password: pa55word\n"
                                    "bh_crypto: aes\nbh_akm: psk2\n"));
  EXPECT_EQ(context.target.bh_ssid, (std::array<char, 32>{"backnet"}));
  const auto& journal = platform().journal;
  EXPECT_EQ(journal[0], "set onboarding_role=3");
  EXPECT_EQ(journal[1], "$ wl del_ie 16 11 02:7E:91 0000000308020101");
  EXPECT_EQ(journal[2], "disable_mesh_settings");
  EXPECT_EQ(journal.back(), "set restart_all_processes=1");
  EXPECT_EQ(platform().nvram["wl1_ssid"], "backnet");
  EXPECT_EQ(platform().nvram["wlg_b_wpa_psk"], "pa55word");
}

TEST_F(UnitSideTest, NoPlaintextAtAllCountsAsEmptyCredentials) {
  context.target.bh_ssid = {"old"};
  air_carries(0x1003, {}, air::BASE);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_SATELLITE);
  EXPECT_EQ(context.target.bh_ssid[0], '\0');
  EXPECT_EQ(platform().nvram.count("wl1_ssid"), 0U);
  context.cur_mode = ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
  ASSERT_EQ(unlink("/tmp/rsa_pri.pem"), 0);
  air_carries(0x1003, air::Bytes(256, 1), air::BASE);
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_SATELLITE);
}

TEST_F(UnitSideTest, CredentialsThatDoNotFitAreDroppedWhole) {
  base_sends_1001();
  context.target.bh_ssid = {"before"};
  const int timer = context.act_timer_fd;
  const auto text = [](std::size_t size) { return std::string(size, 'x'); };
  air::Bytes unterminated = air::credentials(text(31), "p", "c", "a");
  unterminated[3 + 31] = 'x';
  air::Bytes outside = air::credentials("s", "p", "c", "a");
  outside[5 + 1] = 2;  // the second value is said to reach past the block
  air::Bytes last_outside = air::credentials("s", "p", "c", "a");
  last_outside[16] = 1;
  const std::pair<const char*, air::Bytes> cases[] = {
      {"too long a value: bh_ssid", air::credentials(text(32), "p", "c", "a")},
      {"too long a value: bh_ssid", unterminated},
      {"too long a value: bh_wpa_psk", air::credentials("s", text(64), "c", "a")},
      {"too long a value: bh_crypto", air::credentials("s", "p", text(16), "a")},
      {"too long a value: bh_akm", air::credentials("s", "p", "c", text(16))},
      {"a value lies outside the decrypted bytes", outside},
      {"a value lies outside the decrypted bytes", last_outside}};
  for (const auto& [why, content] : cases) {
    forget();
    base_sends_1003(content);
    EXPECT_THAT(messages(), testing::EndsWith("drop operation 1003 from STA: ac:10:20:30:40:50: " +
                                              std::string(why) + "\n"));
  }
  forget();
  air_carries(0x1003, air::Bytes(1025, 1), air::BASE);
  EXPECT_THAT(messages(), testing::EndsWith(": too much ciphertext\n"));
  air_carries(0x1003, air::Bytes(256, 0xff), air::BASE);  // above every modulus
  EXPECT_THAT(messages(), testing::EndsWith(": it is not encrypted for this unit\n"));
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
  EXPECT_EQ(context.act_stage, 3U);
  EXPECT_EQ(context.act_timer_fd, timer);
  EXPECT_STREQ(context.target.bh_ssid.data(), "before");
  EXPECT_TRUE(platform().journal.empty());
  base_sends_1003(air::credentials(text(31), text(63), text(15), text(15)));
  EXPECT_EQ(context.target.bh_password.data(), text(63));
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_SATELLITE);
}

TEST_F(UnitSideTest, TagsDoNotMatterAndAFifthElementIsNotLookedFor) {
  air::Bytes content = air::credentials("s", "p", "c", "a") + air::Bytes{5, 0xff, 0xff};
  content[0] = 9;
  base_sends_1003(content);
  EXPECT_THAT(messages(), HasSubstr("tag#1: 09\nssid_len: 2\nssid: s\n"));
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_TEMP_SATELLITE);
}

}  // namespace
