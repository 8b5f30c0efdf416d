#include "handshake/base_side.h"

#include <algorithm>

#include "core/context.h"
#include "core/log.h"
#include "crypto/key_files.h"
#include "crypto/own_key_pair.h"
#include "crypto/rsa_helpers.h"
#include "discovery/candidate_table.h"
#include "discovery/vendor_ie.h"
#include "handshake/bh_credential.h"
#include "handshake/sat_key_content.h"
#include "platform_onboarding.h"

namespace {

constexpr const char* AS_ACT_OP_1002_HANDLER = "act_op_1002_handler";
constexpr const char* AS_ACT_OP_1003_SENDER = "act_op_1003_sender";

PelionIe expected_element(std::uint8_t plon_vie_data) {
  PelionIe expected{};
  expected.prod_type = PROD_TYPE_MESH;
  expected.prod_id = PROD_ID_UNIT;
  expected.plon_vie_data = plon_vie_data;
  return expected;
}

bool element_accepted(ByteView element, std::uint8_t plon_vie_data) {
  PelionIe received{};
  copy_plon_ie(element, received);
  dump_plon_ie(received);
  return check_plon_ie(received, expected_element(plon_vie_data)) == 1;
}

CandidateEntry* find_candidate(const char* sta) {
  const int slot = check_in_candidate_list(candidate_table, context.candidate_count, sta);
  return slot < 0 ? nullptr : &candidate_table[static_cast<std::size_t>(slot)];
}

void log_sat_key_content(const RsaBuffer& plaintext, std::uint16_t length) {
  const ByteView key_text = clipped(plaintext, SAT_KEY_HEADERS);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "decode(%d):\n%.*s\n", length, text_size(plaintext),
                 as_text(plaintext));
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "tag#1: %02x\n", plaintext[0]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "len: %02x %02x\n", plaintext[1], plaintext[2]);
  log_ie_bytes(AS_ACT_OP_1002_HANDLER, sat_key_element(plaintext));
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "tag#2: %02x\n", plaintext[16]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "len: %02x %02x\n", plaintext[17], plaintext[18]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "pub key: %.*s\n", text_size(key_text), as_text(key_text));
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "tag_1:%x", plaintext[0]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "len:%d(%d)", plaintext[1] << 8 | plaintext[2],
                 static_cast<int>(PLON_IE_SIZE));
}

// The key of a station that is in the table; whatever it had before is gone.
void store_key(CandidateEntry& candidate, ByteView key) {
  candidate.stage = CANDIDATE_KEY_STORED;
  candidate.key_len = static_cast<std::uint16_t>(key.size());
  copy_text(candidate.pub_key, key);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_HANDLER, "pub_key(%d):%s", candidate.key_len,
                 candidate.pub_key.data());
}

void accept_sat_key(ByteView key, const char* sta) {
  CandidateEntry* candidate = find_candidate(sta);
  if (candidate != nullptr) {
    store_key(*candidate, key);
    act_op_1004_sender(sta);
    candidate->stage = CANDIDATE_READY;
  }
}

// False, with a line that names the setting, for a content that a unit would refuse.
bool units_can_hold(ByteView content) {
  CredentialElements elements{};
  if (!read_bh_credential(content, elements)) {
    return false;  // it did not fit its buffer, and has been named
  }
  const char* unfit = unfit_bh_setting(elements);
  if (unfit != nullptr) {
    ONBOARD_LOG_AS(AS_ACT_OP_1003_SENDER, "push refused: NVRAM %s is longer than a unit can hold\n",
                   unfit);
  }
  return unfit == nullptr;
}

// Encrypts the content for one candidate and sends it.
void push_to(const CandidateEntry& candidate, ByteView content) {
  RsaBuffer cipher{};
  std::uint16_t cipher_len = 0;
  const ByteView key = as_bytes(candidate.pub_key.data(), candidate.key_len);
  rsa_encrypt_by_pub_key(key, content, cipher, cipher_len);
  const FrameHex hex = frame_hex(cipher, cipher_len);
  ONBOARD_LOG_AS(AS_ACT_OP_1003_SENDER, "sat_key_encrypt_len:%d\n", cipher_len);
  send_action_frame(AS_ACT_OP_1003_SENDER, {.sta = candidate.mac.data(),
                                            .attr_id = ATTR_ID_1003,
                                            .data_hex = hex.data(),
                                            .data_len = cipher_len,
                                            .channel = CURRENT_CHANNEL});
}

void push_if_possible(const CandidateEntry& candidate, ByteView content) {
  ONBOARD_LOG_AS(AS_ACT_OP_1003_SENDER, "%s \n", candidate.pub_key.data());
  if (candidate.pub_key[0] == '\0') {
    ONBOARD_LOG_AS(AS_ACT_OP_1003_SENDER, " client_pub_key = NULL \r\n");
  } else if (check_mac_in_candidate_satellite(candidate.mac.data()) == 0) {
    ONBOARD_LOG_AS(AS_ACT_OP_1003_SENDER, " mac not found \r\n");
  } else {
    push_to(candidate, content);
  }
}

}  // namespace

int act_op_1000_handler(const ActionFramePayload& payload, const char* sta) {
  act_op_tracker(0, 0);
  dump_current_support_list();
  CandidateEntry* candidate = find_candidate(sta);
  if (candidate == nullptr) {
    ONBOARD_LOG("Cannot find the client (%s) from candidate list.\n", sta);
    return -1;
  }
  candidate->stage = CANDIDATE_HELLO;
  if (!element_accepted(payload_data(payload), VIE_DATA_ADVERTISED)) {
    ONBOARD_LOG("Invalid ie.\n");
    return -1;
  }
  renew_missing_key_pair();
  act_op_1001_sender(sta);
  candidate->stage = CANDIDATE_BASE_KEY_SENT;
  return 0;
}

int act_op_1001_sender(const char* sta) {
  act_op_tracker(1001, 1002);
  RsaBuffer key{};
  std::uint16_t key_len = 0;
  read_pub_key_to_memory(key, key_len);
  const FrameHex hex = frame_hex(key, key_len);
  send_action_frame(SPEAKER, {.sta = sta,
                              .attr_id = ATTR_ID_1001,
                              .data_hex = hex.data(),
                              .data_len = key_len,
                              .channel = CURRENT_CHANNEL});
  return 0;
}

int act_op_1002_handler(const ActionFramePayload& payload, const char* sta) {
  act_op_tracker(0, 0);
  const ByteView cipher = payload_data(payload);
  if (cipher.size() > RSA_DATA_MAX) {
    ONBOARD_LOG("drop operation 1002 from STA: %s: %d bytes of ciphertext, at most %d\n", sta,
                text_size(cipher), static_cast<int>(RSA_DATA_MAX));
    return write_candidate_json(candidate_table);
  }
  RsaBuffer plaintext{};
  std::uint16_t length = 0;
  rsa_decrypt_by_pri_key(cipher, plaintext, length);
  log_sat_key_content(plaintext, length);
  // The element by its place, before the lengths: who has a wrong one leaves the table even where
  // the rest cannot be read.
  if (!element_accepted(sat_key_element(plaintext), VIE_DATA_SEALED)) {
    delete_node_from_candidate_table(candidate_table, sta);
    ONBOARD_LOG("Invalid ie.\n");
    return write_candidate_json(candidate_table);
  }
  ONBOARD_LOG("valid ie.\n");
  ByteView key;
  if (!read_sat_key(clipped(plaintext, 0, length), key)) {
    ONBOARD_LOG("drop operation 1002 from STA: %s: lengths outside its %d bytes\n", sta, length);
    return write_candidate_json(candidate_table);
  }
  accept_sat_key(key, sta);
  return write_candidate_json(candidate_table);
}

int act_op_1003_sender() {
  act_op_tracker(1003, 0);
  RsaBuffer content_buffer{};
  const int length = generate_bh_credential_content(content_buffer);
  const ByteView content = clipped(content_buffer, 0, static_cast<std::size_t>(length));
  if (context.candidate_count > 0 && !units_can_hold(content)) {
    return 0;
  }
  dump_bh_credential_content(content);
  for (int i = 0; i < context.candidate_count; ++i) {
    push_if_possible(candidate_table[static_cast<std::size_t>(i)], content);
  }
  clear_candidate_table(candidate_table);
  return 0;
}

int act_op_1004_sender(const char* sta) {
  act_op_tracker(1004, 0);
  send_action_frame(SPEAKER, {.sta = sta,
                              .attr_id = ATTR_ID_1004,
                              .data_hex = nullptr,
                              .data_len = 0,
                              .channel = CURRENT_CHANNEL});
  return 0;
}

void extend_all_candidates() {
  for (int i = 0; i < context.candidate_count; ++i) {
    act_op_1004_sender(candidate_table[static_cast<std::size_t>(i)].mac.data());
  }
}
