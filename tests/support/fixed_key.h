// A key pair that is the same in each process and known to everybody, since a hundred inputs or
// failures take less time than one new key: for the other side of the daemon, and for programs that
// link it in place of RSA_generate_key_ex.
#ifndef VORLENT_TESTS_FIXED_KEY_H
#define VORLENT_TESTS_FIXED_KEY_H

#include <openssl/rsa.h>

// Makes `key` that key pair, or one of three others, of the exponent 65537. Of other sizes than
// 2048 bits it looks like a key and cannot be used.
void set_fixed_key(RSA* key, int bits = 2048, int which = 0);

#endif
