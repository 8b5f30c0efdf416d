#include "fingerprint.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <memory>

namespace ctl {

namespace {

template <auto function>
struct Free {
  template <typename Thing>
  void operator()(Thing* thing) const {
    function(thing);
  }
};

using Bio = std::unique_ptr<BIO, Free<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;

std::string base64(const unsigned char* bytes, int size) {
  std::array<unsigned char, 64> text{};
  EVP_EncodeBlock(text.data(), bytes, size);
  std::string out(reinterpret_cast<const char*>(text.data()));
  return out.substr(0, out.find('='));
}

}  // namespace

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

}  // namespace ctl
