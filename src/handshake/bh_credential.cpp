#include "handshake/bh_credential.h"

#include <algorithm>
#include <cstring>

#include "core/log.h"
#include "vexo_nvram.h"

namespace {

constexpr const char* AS_GENERATE_BH_CREDENTIAL_CONTENT = "generate_bh_credential_content";

constexpr std::size_t ELEMENT_HEADER = 3;

struct Setting {
  const char* nvram_key;
  const char* label;       // what the base's log calls it
  std::size_t field_size;  // of the unit's field, terminating zero included
};
constexpr std::array<Setting, 4> SETTINGS = {{
    {"bh_ssid", "bh_ssid", sizeof TargetBssInfo::bh_ssid},
    {"bh_wpa_psk", "bh_passwd", sizeof TargetBssInfo::bh_password},
    {"bh_crypto", "bh_crypto", sizeof TargetBssInfo::bh_crypto},
    {"bh_akm", "bh_akm", sizeof TargetBssInfo::bh_akm},
}};

// Appends one element at `at`. Returns where the next begins, or 0 when this one does not fit.
std::size_t append_element(RsaBuffer& buf, std::size_t at, std::uint8_t tag, const char* text) {
  const std::size_t length = strlen(text) + 1;
  if (at + ELEMENT_HEADER > buf.size() || length > buf.size() - at - ELEMENT_HEADER) {
    return 0;
  }
  buf[at] = tag;
  buf[at + 1] = static_cast<std::uint8_t>(length >> 8U);
  buf[at + 2] = static_cast<std::uint8_t>(length);
  std::copy_n(text, length, buf.begin() + static_cast<std::ptrdiff_t>(at + ELEMENT_HEADER));
  return at + ELEMENT_HEADER + length;
}

void log_built_content(const CredentialElements& elements) {
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const CredentialElement& element = elements[i];
    ONBOARD_LOG_AS(AS_GENERATE_BH_CREDENTIAL_CONTENT, "tag:%02x\n", element.tag);
    ONBOARD_LOG_AS(AS_GENERATE_BH_CREDENTIAL_CONTENT, "tag_len:%02x %02x\n", element.length >> 8U,
                   element.length & 0xFFU);
    ONBOARD_LOG_AS(AS_GENERATE_BH_CREDENTIAL_CONTENT, "%s: %.*s\n", SETTINGS[i].label,
                   text_size(element.value), as_text(element.value));
  }
}

// A value fits when a zero of its own ends it inside the field, or the field has room for one.
bool fits(const CredentialElement& element, std::size_t field_size) {
  return element.length < field_size || (element.length == field_size && element.value.back() == 0);
}

}  // namespace

int generate_bh_credential_content(RsaBuffer& buf) {
  std::size_t length = 0;
  std::uint8_t tag = 0;
  for (const Setting& setting : SETTINGS) {
    length = append_element(buf, length, ++tag, vexoNvramConfig_get(setting.nvram_key));
    if (length == 0) {
      buf.fill(0);
      ONBOARD_LOG("the content does not hold %s\n", setting.nvram_key);
      return 0;
    }
  }
  CredentialElements elements{};
  if (read_bh_credential(clipped(buf, 0, length), elements)) {
    log_built_content(elements);
  }
  ONBOARD_LOG("content len: %d\n", static_cast<int>(length));
  return static_cast<int>(length);
}

int dump_bh_credential_content(ByteView content) {
  CredentialElements elements{};
  if (!read_bh_credential(content, elements)) {
    return 0;
  }
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const CredentialElement& element = elements[i];
    ONBOARD_LOG("tag:%02x\n", element.tag);
    ONBOARD_LOG("tag_len:%d\n", element.length);
    ONBOARD_LOG("%s: %.*s\n", SETTINGS[i].label, text_size(element.value), as_text(element.value));
  }
  return 0;
}

const char* unfit_bh_setting(const CredentialElements& elements) {
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!fits(elements[i], SETTINGS[i].field_size)) {
      return SETTINGS[i].nvram_key;
    }
  }
  return nullptr;
}

bool read_bh_credential(ByteView content, CredentialElements& elements) {
  ByteReader reader(content);
  for (CredentialElement& element : elements) {
    element.tag = reader.u8();
    element.length = reader.be16();
    element.value = reader.bytes(element.length);
  }
  return reader.ok();
}

void set_target_credentials(const CredentialElements& elements, TargetBssInfo& target) {
  copy_text(target.bh_ssid, elements[0].value);
  copy_text(target.bh_password, elements[1].value);
  copy_text(target.bh_crypto, elements[2].value);
  copy_text(target.bh_akm, elements[3].value);
}
