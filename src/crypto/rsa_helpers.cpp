#include "crypto/rsa_helpers.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <cstdio>

#include "crypto/key_files.h"
#include "crypto/openssl_objects.h"

namespace {

using Block = std::array<std::uint8_t, RSA_BLOCK>;

// A PEM text may ask for a pass phrase, and libcrypto would then wait at the terminal for one.
int no_pass_phrase(char* /*buf*/, int /*size*/, int /*rwflag*/, void* /*user*/) {
  return -1;
}

Key read_public_key(ByteView pem) {
  const Bio memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  Key key(memory == nullptr
              ? nullptr
              : PEM_read_bio_RSA_PUBKEY(memory.get(), nullptr, no_pass_phrase, nullptr));
  if (key == nullptr) {
    (void)printf("peer key of %d bytes is no public key\n", text_size(pem));
  }
  return key;
}

// The private key file as it was last looked at. Each operation 1002 asks for the key, also one
// from a stranger, and the check of it costs many times what the decryption does.
struct OwnKey {
  std::array<std::uint8_t, 4096> pem;
  std::size_t size = 0;
  Key key;
  int check = -1;       // what RSA_check_key gave; below 0: it has not come to a result
  bool served = false;  // the last decryption, as decryption_had_a_key tells
};
OwnKey own_key;

// Reads the file, and parses it unless it holds the bytes that it held before.
RSA* read_private_key() {
  decltype(own_key.pem) pem;
  const std::size_t size = read_private_key_file(pem);
  const bool whole = size <= pem.size();
  if (own_key.key == nullptr || size != own_key.size ||
      !std::equal(pem.begin(), pem.begin() + static_cast<std::ptrdiff_t>(size),
                  own_key.pem.begin())) {
    const Bio memory(whole ? BIO_new_mem_buf(pem.data(), static_cast<int>(size)) : nullptr);
    own_key.pem = pem;
    own_key.size = size;
    own_key.check = -1;
    own_key.key.reset(memory == nullptr ? nullptr
                                        : PEM_read_bio_RSAPrivateKey(memory.get(), nullptr,
                                                                     no_pass_phrase, nullptr));
  }
  if (own_key.key == nullptr) {
    (void)printf("file:%s holds no private key\n", RSA_PRI_FILE);
  }
  return own_key.key.get();
}

int check_private_key() {
  if (own_key.check < 0) {
    own_key.check = RSA_check_key(own_key.key.get());
  }
  return own_key.check;
}

// Blocks are 256 bytes throughout, and libcrypto writes as many bytes as the key is long.
bool usable(const RSA* key, const char* whose) {
  if (RSA_bits(key) == RSA_KEY_BITS) {
    return true;
  }
  (void)printf("%s is not usable: %d bits instead of %d\n", whose, RSA_bits(key), RSA_KEY_BITS);
  return false;
}

bool within_bound(ByteView data) {
  if (data.size() <= RSA_DATA_MAX) {
    return true;
  }
  (void)printf("data size (%d) is over the bound (%d), refused\n", text_size(data),
               static_cast<int>(RSA_DATA_MAX));
  return false;
}

Block zero_filled_block(ByteView data, std::size_t fragment) {
  Block block{};
  const ByteView part = clipped(data, fragment * RSA_BLOCK, RSA_BLOCK);
  std::copy(part.begin(), part.end(), block.begin());
  return block;
}

// How many blocks the data takes, said where it is more than one. No data counts as one.
std::size_t announced_fragments(ByteView data) {
  if (data.size() <= RSA_BLOCK) {
    return 1;
  }
  const std::size_t fragments = (data.size() + RSA_BLOCK - 1) / RSA_BLOCK;
  (void)printf("data size (%d) is over toleration encypted size (%d)\n", text_size(data),
               static_cast<int>(RSA_BLOCK));
  (void)printf("Will seperate the data into %d fragments\n", static_cast<int>(fragments));
  return fragments;
}

// One block of raw RSA into its place in `out`. Returns what libcrypto gave: 256, or -1.
int encrypt_block(RSA* key, const Block& plain, Block& cipher) {
  return RSA_public_encrypt(static_cast<int>(plain.size()), plain.data(), cipher.data(), key,
                            RSA_NO_PADDING);
}

int decrypt_block(RSA* key, ByteView cipher, Block& plain) {
  return RSA_private_decrypt(text_size(cipher), cipher.data(), plain.data(), key, RSA_NO_PADDING);
}

void print_ciphertext(int result) {
  (void)printf("ciphertext(%d)\n", static_cast<int>(static_cast<std::uint16_t>(result)));
}

void print_plaintext(int result, const Block& plain) {
  (void)printf("paintext(%d): %.*s\n", static_cast<int>(static_cast<std::uint16_t>(result)),
               text_size(plain), as_text(plain));
}

bool encrypt_fragment(RSA* key, ByteView data, std::size_t fragment, bool announce, Block& cipher) {
  const Block plain = zero_filled_block(data, fragment);
  if (announce) {
    (void)printf("frag#%d: %.*s\n", static_cast<int>(fragment), text_size(plain), as_text(plain));
  }
  const int result = encrypt_block(key, plain, cipher);
  print_ciphertext(result);
  return result == static_cast<int>(RSA_BLOCK);
}

bool decrypt_fragment(RSA* key, ByteView cipher, std::size_t fragment, Block& plain) {
  const Block whole = zero_filled_block(cipher, fragment);
  (void)printf("frag#%d:\n", static_cast<int>(fragment));
  const int result = decrypt_block(key, whole, plain);
  print_plaintext(result, plain);
  print_ciphertext(result);
  return result == static_cast<int>(RSA_BLOCK);
}

// The single-block path hands over the bytes as they are: fewer than 256 are a smaller number.
bool decrypt_single(RSA* key, ByteView cipher, Block& plain) {
  const int result = decrypt_block(key, cipher, plain);
  print_plaintext(result, plain);
  return result == static_cast<int>(RSA_BLOCK);
}

void store_block(RsaBuffer& out, std::size_t fragment, const Block& block) {
  std::copy(block.begin(), block.end(),
            out.begin() + static_cast<std::ptrdiff_t>(fragment * RSA_BLOCK));
}

int refuse_block(RsaBuffer& out, const char* what) {
  out.fill(0);
  std::array<char, 160> reason{};
  ERR_error_string_n(ERR_peek_last_error(), reason.data(), reason.size());
  (void)printf("%s failed: %s\n", what, reason.data());
  ERR_clear_error();
  return 0;
}

}  // namespace

int rsa_encrypt_by_pub_key(ByteView pem, ByteView data, RsaBuffer& out, std::uint16_t& out_len) {
  out_len = 0;
  const Key key = within_bound(data) ? read_public_key(pem) : nullptr;
  if (key == nullptr || !usable(key.get(), "peer key")) {
    ERR_clear_error();
    return 0;
  }
  (void)printf("rsa_len:%d\n", RSA_size(key.get()));
  (void)printf("orig data(%d): %.*s\n", text_size(data), text_size(data), as_text(data));
  const std::size_t fragments = announced_fragments(data);
  for (std::size_t i = 0; i < fragments; ++i) {
    Block cipher{};
    if (!encrypt_fragment(key.get(), data, i, fragments > 1, cipher)) {
      return refuse_block(out, "encryption");
    }
    store_block(out, i, cipher);
  }
  out_len = static_cast<std::uint16_t>(fragments * RSA_BLOCK);
  return 0;
}

bool decryption_had_a_key() {
  return own_key.served;
}

int rsa_decrypt_by_pri_key(ByteView cipher, RsaBuffer& out, std::uint16_t& out_len) {
  out_len = 0;
  own_key.served = false;
  RSA* key = within_bound(cipher) ? read_private_key() : nullptr;
  if (key == nullptr) {
    ERR_clear_error();
    return 0;
  }
  (void)printf("RSA_check_key: %d\n", check_private_key());
  if (!usable(key, "own key")) {
    ERR_clear_error();
    return 0;
  }
  own_key.served = true;
  (void)printf("orig ciphertext(%d)\n", text_size(cipher));
  const std::size_t fragments = announced_fragments(cipher);
  for (std::size_t i = 0; i < fragments; ++i) {
    Block plain{};
    const bool done = fragments > 1 ? decrypt_fragment(key, cipher, i, plain)
                                    : decrypt_single(key, cipher, plain);
    if (!done) {
      return refuse_block(out, "decryption");
    }
    store_block(out, i, plain);
  }
  out_len = static_cast<std::uint16_t>(fragments * RSA_BLOCK);
  return 0;
}
