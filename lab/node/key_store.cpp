#include "node/key_store.h"

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

namespace lab {

namespace {

constexpr int kBits = 2048;  // as the daemon asks for

using Pair = std::unique_ptr<RSA, decltype(&RSA_free)>;

std::string path_of(const std::string& store, int number) {
  char name[16];
  snprintf(name, sizeof name, "/%04d.pem", number);
  return store + name;
}

Pair make_pair() {
  Pair pair(RSA_new(), RSA_free);
  const std::unique_ptr<BIGNUM, decltype(&BN_free)> exponent(BN_new(), BN_free);
  const bool made = pair != nullptr && BN_set_word(exponent.get(), RSA_F4) == 1 &&
                    RSA_generate_key_ex(pair.get(), kBits, exponent.get(), nullptr) == 1;
  return made ? std::move(pair) : Pair(nullptr, RSA_free);
}

// Whoever fills the store at the same time, or is interrupted, leaves no half of a pair.
bool write_pair(const std::string& path) {
  const std::string half = path + "." + std::to_string(getpid());
  const Pair pair = make_pair();
  FILE* file = fopen(half.c_str(), "we");
  const bool written =
      file != nullptr && pair != nullptr &&
      PEM_write_RSAPrivateKey(file, pair.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1;
  const bool closed = file != nullptr && fclose(file) == 0;
  const bool whole = written && closed && rename(half.c_str(), path.c_str()) == 0;
  if (!whole) {
    const int error = errno;
    unlink(half.c_str());
    errno = error;
  }
  return whole;
}

}  // namespace

int count_pairs(const std::string& store) {
  int count = 0;
  while (access(path_of(store, count).c_str(), R_OK) == 0) {
    ++count;
  }
  return count;
}

std::string make_pairs(const std::string& store, int count) {
  std::error_code error;
  std::filesystem::create_directories(store, error);
  for (int i = count_pairs(store); i < count; ++i) {
    if (!write_pair(path_of(store, i))) {
      return path_of(store, i) + ": " + strerror(errno);
    }
  }
  return {};
}

}  // namespace lab
