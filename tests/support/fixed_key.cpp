#include "support/fixed_key.h"

#include <openssl/bn.h>

namespace {

// 3 * 2^(bits-2) + 2^high_bit + low.
BIGNUM* prime(int bits, int high_bit, BN_ULONG low) {
  BIGNUM* number = BN_new();
  BN_set_bit(number, bits - 1), BN_set_bit(number, bits - 2), BN_set_bit(number, high_bit);
  BN_add_word(number, low);
  return number;
}

}  // namespace

void set_fixed_key(RSA* key, int bits, int which) {
  constexpr BN_ULONG LOW[] = {1011, 1075, 2061, 2263};
  BN_CTX* ctx = BN_CTX_new();
  BIGNUM *p = prime(bits / 2, 0, 1036), *q = prime(bits / 2, bits / 2 - 24, LOW[which % 4]);
  BIGNUM *p1 = BN_dup(p), *q1 = BN_dup(q), *phi = BN_new(), *n = BN_new(), *e = BN_new();
  BIGNUM *dp = BN_new(), *dq = BN_new();
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
