#include "handshake/unit_side.h"

#include "core/context.h"
#include "core/log.h"
#include "core/timer_list.h"
#include "crypto/hex.h"
#include "crypto/key_files.h"
#include "crypto/own_key_pair.h"
#include "crypto/rsa_helpers.h"
#include "discovery/target_base.h"
#include "discovery/vendor_ie.h"
#include "handshake/bh_credential.h"
#include "handshake/sat_key_content.h"
#include "role/role_change.h"

namespace {

constexpr const char* AS_ACT_OP_1002_SENDER = "act_op_1002_sender";
constexpr const char* AS_ACT_OP_1003_HANDLER = "act_op_1003_handler";

constexpr int RESEND_SECONDS = 5;
constexpr int RESEND_LIMIT = 6;
constexpr int CREDENTIAL_WAIT_SECONDS = 900;
constexpr std::size_t BASE_KEY_MAX = 1023;

// The handshake timer of a stage: resends and then gives up, or only gives up.
TimerEntry handshake_timer(HandshakeStage stage) {
  TimerEntry entry{};
  if (stage == STAGE_AWAIT_1003) {
    entry.timeout = CREDENTIAL_WAIT_SECONDS;
    entry.callback = timer_cb_act_handshake_expired;
    return entry;
  }
  entry.timeout = RESEND_SECONDS;
  entry.retry_interval = RESEND_SECONDS;
  entry.retry_limit = RESEND_LIMIT;
  entry.callback = stage == STAGE_AWAIT_1004 ? act_op_1002_sender_retry : act_op_1000_sender_retry;
  entry.limit_callback = timer_cb_act_handshake_expired;
  return entry;
}

// The unit's own public key, none when the file cannot be read or leaves no room for the content.
ByteView own_public_key(RsaBuffer& buf) {
  std::uint16_t key_len = 0;
  read_pub_key_to_memory(buf, key_len);
  if (key_len > SAT_KEY_MAX) {
    ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "own public key of %d bytes is too long\n", key_len);
    return {};
  }
  return clipped(buf, 0, key_len);
}

void log_sat_key_content(const RsaBuffer& content, ByteView key) {
  ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "tag: %02x\n", content[0]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "len: %02x %02x\n", content[1], content[2]);
  log_ie_bytes(AS_ACT_OP_1002_SENDER, sat_key_element(content));
  ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "\ntag:%02x\n", content[16]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "len: %02x %02x\n", content[17], content[18]);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "pub key: %.*s\n", text_size(key), as_text(key));
}

ByteView base_key() {
  return as_bytes(context.target.base_pub_key.data(), context.target.key_len);
}

void send_sat_key(ByteView cipher_buffer, std::uint16_t cipher_len) {
  const FrameHex hex = frame_hex(cipher_buffer, cipher_len);
  ONBOARD_LOG_AS(AS_ACT_OP_1002_SENDER, "sat_key_encrypt_len:%d\n", cipher_len);
  send_action_frame(AS_ACT_OP_1002_SENDER, {.sta = context.target.bssid.data(),
                                            .attr_id = ATTR_ID_1002,
                                            .data_hex = hex.data(),
                                            .data_len = cipher_len,
                                            .channel = context.target.channel});
}

void log_credentials(const CredentialElements& elements) {
  constexpr std::array<const char*, 4> LABELS = {"ssid", "passwd", "crypt", "akm"};
  constexpr std::array<const char*, 4> VALUE_LABELS = {"ssid", "passwd", "crypto", "akm"};
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const CredentialElement& element = elements[i];
    ONBOARD_LOG_AS(AS_ACT_OP_1003_HANDLER, "tag#%d: %02x\n", static_cast<int>(i) + 1, element.tag);
    ONBOARD_LOG_AS(AS_ACT_OP_1003_HANDLER, "%s_len: %d\n", LABELS[i], element.length);
    ONBOARD_LOG_AS(AS_ACT_OP_1003_HANDLER, "%s: %.*s\n", VALUE_LABELS[i], text_size(element.value),
                   as_text(element.value));
  }
}

int drop_1003(const char* sta, const char* why, const char* value = "") {
  ONBOARD_LOG_AS(AS_ACT_OP_1003_HANDLER, "drop operation 1003 from STA: %s: %s%s\n", sta, why,
                 value);
  return 0;
}

}  // namespace

// The new timer is made before the old one is deleted, so that their numbers differ. It is armed
// after the frame that it waits on was sent: the command may take seconds of the wait otherwise.
void arm_handshake_timer(const char* speaker, HandshakeStage stage) {
  TimerEntry entry = handshake_timer(stage);
  const int timer = add_timer(epoll_fd, entry);
  if (context.act_timer_fd > 0) {
    ONBOARD_LOG_AS(speaker, "old timerfd detected: fd %d\n", context.act_timer_fd);
    del_timer(epoll_fd, context.act_timer_fd);
  }
  context.act_timer_fd = timer;
  context.act_stage = stage;
}

int act_op_1000_sender() {
  renew_missing_key_pair();
  act_op_tracker(1000, 1001);
  std::array<char, 2 * PLON_IE_SIZE + 1> hex{};
  write_hex(pelion_element(PROD_ID_UNIT, VIE_DATA_ADVERTISED), hex);
  send_action_frame(SPEAKER, {.sta = context.target.bssid.data(),
                              .attr_id = ATTR_ID_1000,
                              .data_hex = hex.data(),
                              .data_len = PLON_IE_SIZE,
                              .channel = context.target.channel});
  return 0;
}

int act_op_1001_handler(const ActionFramePayload& payload, const char* sta) {
  const ByteView key = payload_data(payload);
  if (key.size() > BASE_KEY_MAX) {
    ONBOARD_LOG("drop operation 1001 from STA: %s: key of %d bytes, at most %d\n", sta,
                text_size(key), static_cast<int>(BASE_KEY_MAX));
    return 0;
  }
  ONBOARD_LOG("dump base pub key: \n%.*s\n", text_size(key), as_text(key));
  copy_text(context.target.base_pub_key, key);
  context.target.key_len = payload.data_len;
  dump_target_bss_info();
  act_op_1002_sender(sta);
  arm_handshake_timer(SPEAKER, STAGE_AWAIT_1004);
  return 0;
}

int act_op_1002_sender(const char* /*sta*/) {
  act_op_tracker(1002, 1003);
  RsaBuffer key_buffer{};
  const ByteView key = own_public_key(key_buffer);
  RsaBuffer content{};
  const std::size_t length = build_sat_key_content(key, content);
  log_sat_key_content(content, key);
  RsaBuffer cipher{};
  std::uint16_t cipher_len = 0;
  rsa_encrypt_by_pub_key(base_key(), clipped(content, 0, length), cipher, cipher_len);
  send_sat_key(cipher, cipher_len);
  return 0;
}

int act_op_1003_handler(const ActionFramePayload& payload, const char* sta) {
  act_op_tracker(0, 0);
  const ByteView cipher = payload_data(payload);
  if (cipher.size() > RSA_DATA_MAX) {
    return drop_1003(sta, "too much ciphertext");
  }
  RsaBuffer plaintext{};
  std::uint16_t length = 0;
  rsa_decrypt_by_pri_key(cipher, plaintext, length);
  ONBOARD_LOG("decode(%d):\n%.*s\n", length, text_size(plaintext), as_text(plaintext));
  if (length == 0 && !cipher.empty() && decryption_had_a_key()) {
    return drop_1003(sta, "it is not encrypted for this unit");
  }
  CredentialElements elements{};
  if (!read_bh_credential(length == 0 ? plaintext : clipped(plaintext, 0, length), elements)) {
    return drop_1003(sta, "a value lies outside the decrypted bytes");
  }
  log_credentials(elements);
  const char* unfit = unfit_bh_setting(elements);
  if (unfit != nullptr) {
    return drop_1003(sta, "too long a value: ", unfit);
  }
  set_target_credentials(elements, context.target);
  dump_target_bss_info();
  context.target_role = ONBOARD_MODE_TEMP_SATELLITE;
  role_bakery();
  return 0;
}

int act_op_1004_handler(const ActionFramePayload& /*payload*/, const char* /*sta*/) {
  act_op_tracker(0, 1003);
  ONBOARD_LOG("extend 15 minutes for waiting 1003...\n");
  if (context.act_stage != STAGE_AWAIT_1004) {
    ONBOARD_LOG("Unexpected stage: %d\n", static_cast<int>(context.act_stage));
    return 0;
  }
  TimerEntry running{};
  get_timer_from_timer_list(context.act_timer_fd, running);
  TimerEntry entry = handshake_timer(STAGE_AWAIT_1003);
  entry.timer_fd = running.timer_fd;
  update_timer(context.act_timer_fd, entry);
  context.act_stage = STAGE_AWAIT_1003;
  return 0;
}

void rearm_handshake() {
  arm_handshake_timer(SPEAKER, context.act_stage);
}

void act_op_1000_sender_retry(int /*timer_fd*/) {
  act_op_1000_sender();
}

void act_op_1002_sender_retry(int /*timer_fd*/) {
  act_op_1002_sender(context.target.bssid.data());
}

void timer_cb_act_handshake_expired(int /*timer_fd*/) {
  context.target_role = ONBOARD_MODE_UNCONFIGURED;
  role_bakery();
}
