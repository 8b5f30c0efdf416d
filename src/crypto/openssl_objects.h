// Objects of libcrypto that give themselves back.
#ifndef VORLENT_CRYPTO_OPENSSL_OBJECTS_H
#define VORLENT_CRYPTO_OPENSSL_OBJECTS_H

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/rsa.h>

#include <memory>

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

#endif
