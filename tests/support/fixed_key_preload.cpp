// Preloaded into tests that look at the layout of bytes: making a key takes longer than all the
// rest of one, and many seconds where each instruction is emulated.
#include "support/fixed_key.h"

extern "C" int RSA_generate_key_ex(RSA* key, int /*bits*/, BIGNUM* /*e*/, BN_GENCB* /*cb*/) {
  static int made = 0;
  set_fixed_key(key, 2048, made++ % 3 + 1);  // never the one before, nor the other side's
  return 1;
}

// As long as it takes to make half of one.
extern "C" int RSA_check_key(const RSA* /*key*/) {
  return 1;
}
