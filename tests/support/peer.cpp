#include "support/peer.h"

#include <openssl/bio.h>
#include <openssl/pem.h>

#include <map>

#include "support/fixed_key.h"

namespace {

std::string drain(BIO* bio) {
  char* text = nullptr;
  const long size = BIO_get_mem_data(bio, &text);
  std::string copy(text, static_cast<std::size_t>(size));
  BIO_free(bio);
  return copy;
}

template <typename Read, typename Crypt>
air::Bytes by_blocks(const std::string& pem, Read read, Crypt crypt, const air::Bytes& in) {
  BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  RSA* key = read(bio, nullptr, nullptr, nullptr);
  BIO_free(bio);
  air::Bytes out;
  for (std::size_t at = 0; at < in.size() || at == 0; at += 256) {
    air::Bytes block(in.begin() + static_cast<long>(at),
                     in.begin() + static_cast<long>(std::min(at + 256, in.size())));
    block.resize(256);
    out.resize(at + 256, 0xFF);
    crypt(256, block.data(), &out[at], key, RSA_NO_PADDING);
  }
  RSA_free(key);
  return out;
}

}  // namespace

const PeerKey& peer_key(int bits) {
  static std::map<int, PeerKey> keys;
  PeerKey& pair = keys[bits];
  if (pair.public_pem.empty()) {
    RSA* key = RSA_new();
    set_fixed_key(key, bits);
    BIO* pub = BIO_new(BIO_s_mem());
    BIO* pri = BIO_new(BIO_s_mem());
    PEM_write_bio_RSA_PUBKEY(pub, key);
    PEM_write_bio_RSAPrivateKey(pri, key, nullptr, nullptr, 0, nullptr, nullptr);
    pair = PeerKey{.public_pem = drain(pub), .private_pem = drain(pri)};
    RSA_free(key);
  }
  return pair;
}

air::Bytes encrypt_for(const std::string& public_pem, const air::Bytes& plaintext) {
  return by_blocks(public_pem, PEM_read_bio_RSA_PUBKEY, RSA_public_encrypt, plaintext);
}

air::Bytes decrypt_with(const std::string& private_pem, const air::Bytes& ciphertext) {
  return by_blocks(private_pem, PEM_read_bio_RSAPrivateKey, RSA_private_decrypt, ciphertext);
}
