#include "candidates.h"

#include <cjson/cJSON.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <cctype>
#include <memory>

#include "own_file.h"
#include "platform_onboarding.h"

namespace ctl {

namespace {

template <auto function>
struct Free {
  template <typename Thing>
  void operator()(Thing* thing) const {
    function(thing);
  }
};

using Json = std::unique_ptr<cJSON, Free<cJSON_Delete>>;
using Bio = std::unique_ptr<BIO, Free<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;

const char* text_of(const cJSON* object, const char* name) {
  const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, name));
  return text == nullptr ? "" : text;
}

std::string base64(const unsigned char* bytes, int size) {
  std::array<unsigned char, 64> text{};
  EVP_EncodeBlock(text.data(), bytes, size);
  std::string out(reinterpret_cast<const char*>(text.data()));
  return out.substr(0, out.find('='));
}

}  // namespace

std::string read_own(const std::string& path) {
  std::string text;
  const UniqueFd file = open_own_to_read(path.c_str());
  std::array<char, 4096> piece{};
  for (ssize_t got = 0; file.open() && (got = read(file.get(), piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

std::string as_address(std::string_view text) {
  std::string out(text);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const auto byte = static_cast<unsigned char>(out[i]);
    if (i % 3 == 2 ? byte != ':' : std::isxdigit(byte) == 0) {
      return "";
    }
    out[i] = static_cast<char>(std::tolower(byte));
  }
  return out.size() == 17 ? out : "";
}

std::string fingerprint(const std::string& pem) {
  if (pem.empty()) {
    return "";
  }
  const Bio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  const Key key(bio ? PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr) : nullptr);
  unsigned char* der = nullptr;
  const int size = key ? i2d_PUBKEY(key.get(), &der) : 0;
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  const bool done = size > 0 && EVP_Digest(der, static_cast<std::size_t>(size), digest.data(),
                                           &length, EVP_sha256(), nullptr) == 1;
  OPENSSL_free(der);
  return done ? "SHA256:" + base64(digest.data(), static_cast<int>(length)) : "no public key";
}

std::vector<Candidate> read_candidates() {
  std::vector<Candidate> out;
  const Json document(cJSON_Parse(read_own(kCandidateFile).c_str()));
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, cJSON_GetObjectItemCaseSensitive(document.get(), "candidates")) {
    const std::string address = as_address(text_of(entry, "mac"));
    if (!address.empty()) {
      out.push_back({address, fingerprint(text_of(entry, "key")),
                     check_mac_in_candidate_satellite(address.c_str()) != 0});
    }
  }
  return out;
}

}  // namespace ctl
