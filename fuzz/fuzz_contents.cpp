// What comes out of a decryption: the content of operation 1002 and the credentials of 1003. A peer
// with the public key, which is sent in clear, chooses every byte.
#include <algorithm>
#include <vector>

#include "fuzz.h"
#include "handshake/action_frame.h"
#include "handshake/bh_credential.h"
#include "handshake/sat_key_content.h"

namespace {

template <std::size_t N>
bool terminated(const std::array<char, N>& field) {
  return std::find(field.begin(), field.end(), '\0') != field.end();
}

bool inside(ByteView part, ByteView whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void read_credentials(ByteView content) {
  CredentialElements elements{};
  if (!read_bh_credential(content, elements)) {
    return;
  }
  for (const CredentialElement& element : elements) {
    require(inside(element.value, content), "a value lies inside the content");
  }
  if (unfit_bh_setting(elements) == nullptr) {
    TargetBssInfo target{};
    store_bh_credential(elements, target);
    require(terminated(target.bh_ssid) && terminated(target.bh_password) &&
                terminated(target.bh_crypto) && terminated(target.bh_akm),
            "every stored text ends");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> bytes(data, data + size);
  const ByteView content(bytes);
  read_credentials(content);
  ByteView key;
  if (read_sat_key(content, key)) {
    require(inside(key, content), "the key lies inside the content");
  }
  ActionFramePayload payload;
  if (decode_payload(content, payload) == nullptr) {
    require(payload.data_len + 7U <= size, "the data lies inside the frame");
  }
  return 0;
}
