// The daemon's other side: a key pair of its own, and raw RSA block by block, independent of the
// daemon's helpers.
#ifndef VORLENT_TESTS_PEER_H
#define VORLENT_TESTS_PEER_H

#include <string>

#include "support/air.h"

struct PeerKey {
  std::string public_pem;
  std::string private_pem;
};
// The fixed key pair in PEM.
const PeerKey& peer_key(int bits = 2048);

// A block that is no number below the modulus comes out as one that is none either.
air::Bytes encrypt_for(const std::string& public_pem, const air::Bytes& plaintext);
air::Bytes decrypt_with(const std::string& private_pem, const air::Bytes& ciphertext);

#endif
