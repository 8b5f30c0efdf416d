// A key pair that is the same in each process and known to everybody: for programs that link it in
// place of RSA_generate_key_ex, since a hundred inputs or failures take less time than one new key.
#ifndef VORLENT_TESTS_FIXED_KEY_H
#define VORLENT_TESTS_FIXED_KEY_H

#include <openssl/rsa.h>

// Makes `key` that key pair, of 2048 bits and the exponent 65537.
void set_fixed_key(RSA* key);

RSA* fixed_key();

#endif
