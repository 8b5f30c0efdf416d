// What the daemon's resident memory is compared with: a C++ program that links the same libraries,
// has made one RSA key as the daemon does, and waits.
#include <cjson/cJSON.h>
#include <openssl/bn.h>
#include <openssl/rsa.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

int main() {
  const std::string version = cJSON_Version();
  std::unique_ptr<BIGNUM, decltype(&BN_free)> exponent(BN_new(), BN_free);
  std::unique_ptr<RSA, decltype(&RSA_free)> key(RSA_new(), RSA_free);
  const bool made = BN_set_word(exponent.get(), RSA_F4) == 1 &&
                    RSA_generate_key_ex(key.get(), 2048, exponent.get(), nullptr) == 1;
  key.reset();
  exponent.reset();
  std::printf("ready %zu\n", version.size());
  std::fflush(stdout);
  pause();
  return made ? 0 : 1;
}
