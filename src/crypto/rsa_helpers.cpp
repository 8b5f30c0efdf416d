#include "crypto/rsa_helpers.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "core/shell.h"
#include "own_file.h"

namespace {

template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    (void)Release(object);
  }
};
using Bio = std::unique_ptr<BIO, Releaser<BIO_free>>;
using BigNumber = std::unique_ptr<BIGNUM, Releaser<BN_free>>;
using Key = std::unique_ptr<RSA, Releaser<RSA_free>>;
using Block = std::array<std::uint8_t, RSA_BLOCK>;

constexpr int KEY_BITS = 2048;

// A PEM text may ask for a pass phrase, and libcrypto would then wait at the terminal for one.
int no_pass_phrase(char* /*buf*/, int /*size*/, int /*rwflag*/, void* /*user*/) {
  return -1;
}

// A new file in place of whatever stands there: one that somebody else made would stay theirs.
Bio create_key_file(const char* path, mode_t mode) {
  UniqueFd file = create_own_file(path, mode);
  Bio bio(file.open() ? BIO_new_fd(file.get(), BIO_CLOSE) : nullptr);
  if (bio != nullptr) {
    (void)file.release();
  }
  return bio;
}

bool write_key_pair(BIO* pri, BIO* pub) {
  const BigNumber exponent(BN_new());
  const Key key(RSA_new());
  return pri != nullptr && pub != nullptr && exponent != nullptr && key != nullptr &&
         BN_set_word(exponent.get(), RSA_F4) == 1 &&
         RSA_generate_key_ex(key.get(), KEY_BITS, exponent.get(), nullptr) == 1 &&
         PEM_write_bio_RSAPrivateKey(pri, key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
         PEM_write_bio_RSA_PUBKEY(pub, key.get()) == 1;
}

void print_file(const char* path) {
  std::array<char, 64> command{};
  (void)snprintf(command.data(), command.size(), "cat %s", path);
  run_command(command.data());
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

// How many bytes the file has, or more than `buf` holds.
std::size_t read_to_end(int fd, std::span<std::uint8_t> buf) {
  std::size_t size = 0;
  ssize_t got = 0;
  while (size < buf.size() && (got = read(fd, &buf[size], buf.size() - size)) > 0) {
    size += static_cast<std::size_t>(got);
  }
  std::uint8_t beyond = 0;
  return size == buf.size() && read(fd, &beyond, 1) > 0 ? size + 1 : size;
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
  const UniqueFd file = open_own_to_read(RSA_PRI_FILE);
  decltype(own_key.pem) pem;
  const std::size_t size = file.open() ? read_to_end(file.get(), pem) : 0;
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
  if (RSA_bits(key) == KEY_BITS) {
    return true;
  }
  (void)printf("%s is not usable: %d bits instead of %d\n", whose, RSA_bits(key), KEY_BITS);
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

int rsa_gen_key_pair() {
  int error = 0;
  errno = 0;
  {
    const Bio pri = create_key_file(RSA_PRI_FILE, S_IRUSR | S_IWUSR);
    const Bio pub = create_key_file(RSA_PUB_FILE, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
    if (!write_key_pair(pri.get(), pub.get())) {
      error = errno != 0 ? errno : EIO;  // libcrypto keeps its own reasons
    }
  }
  ERR_clear_error();
  // What may stand there after a failure is somebody else's, say a pipe: cat would wait at it.
  if (error != 0) {
    (void)unlink(RSA_PRI_FILE);
    (void)unlink(RSA_PUB_FILE);
    return error;
  }
  print_file(RSA_PRI_FILE);
  print_file(RSA_PUB_FILE);
  return 0;
}

int read_pub_key_to_memory(std::span<std::uint8_t> buf, std::uint16_t& len) {
  const UniqueFd file = open_own_to_read(RSA_PUB_FILE);
  if (!file.open()) {
    (void)printf("file:%s open failed.\n", RSA_PUB_FILE);
    return -1;
  }
  const std::size_t size = read_to_end(file.get(), buf);
  if (size > buf.size()) {
    std::fill(buf.begin(), buf.end(), std::uint8_t{0});
    (void)printf("file:%s is longer than %d bytes, refused.\n", RSA_PUB_FILE, text_size(buf));
    return -1;
  }
  len = static_cast<std::uint16_t>(size);
  (void)printf("memory key(%d): %.*s\n", static_cast<int>(len), static_cast<int>(len),
               as_text(buf));
  return 0;
}

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
