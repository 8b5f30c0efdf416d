#include "crypto/key_files.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "core/bytes.h"
#include "core/shell.h"
#include "crypto/openssl_objects.h"
#include "own_file.h"

namespace {

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
         RSA_generate_key_ex(key.get(), RSA_KEY_BITS, exponent.get(), nullptr) == 1 &&
         PEM_write_bio_RSAPrivateKey(pri, key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
         PEM_write_bio_RSA_PUBKEY(pub, key.get()) == 1;
}

void print_file(const char* path) {
  std::array<char, 64> command{};
  (void)snprintf(command.data(), command.size(), "cat %s", path);
  run_command(command.data());
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

std::size_t read_private_key_file(std::span<std::uint8_t> buf) {
  const UniqueFd file = open_own_to_read(RSA_PRI_FILE);
  return file.open() ? read_to_end(file.get(), buf) : 0;
}
