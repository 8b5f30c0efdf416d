#include "support/fixed_key.h"

#include <openssl/bn.h>

namespace {

// The primes 3 * 2^1022 + 1037 and 3 * 2^1022 + 2^1000 + 1011.
BIGNUM* prime(int high_bit, BN_ULONG low) {
  BIGNUM* number = BN_new();
  BN_set_word(number, 3);
  BN_lshift(number, number, 1022);
  if (high_bit != 0) {
    BN_set_bit(number, high_bit);
  }
  BN_add_word(number, low);
  return number;
}

}  // namespace

void set_fixed_key(RSA* key) {
  BN_CTX* ctx = BN_CTX_new();
  BIGNUM *p = prime(0, 1037), *q = prime(1000, 1011), *n = BN_new(), *e = BN_new();
  BIGNUM *p1 = BN_dup(p), *q1 = BN_dup(q), *phi = BN_new(), *dp = BN_new(), *dq = BN_new();
  BN_mul(n, p, q, ctx);
  BN_set_word(e, RSA_F4);
  BN_sub_word(p1, 1), BN_sub_word(q1, 1);
  BN_mul(phi, p1, q1, ctx);
  BIGNUM* d = BN_mod_inverse(nullptr, e, phi, ctx);
  BN_mod(dp, d, p1, ctx), BN_mod(dq, d, q1, ctx);
  BIGNUM* qinv = BN_mod_inverse(nullptr, q, p, ctx);
  RSA_set0_key(key, n, e, d), RSA_set0_factors(key, p, q), RSA_set0_crt_params(key, dp, dq, qinv);
  BN_free(p1), BN_free(q1), BN_free(phi), BN_CTX_free(ctx);
}

RSA* fixed_key() {
  static RSA* key = [] {
    RSA* made = RSA_new();
    set_fixed_key(made);
    return made;
  }();
  return key;
}
