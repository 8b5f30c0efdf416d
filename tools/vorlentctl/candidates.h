// Units that have sent their key and wait for their credentials, as the daemon lists them.
#ifndef VORLENTCTL_CANDIDATES_H
#define VORLENTCTL_CANDIDATES_H

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

inline constexpr const char* kCandidateFile = "/tmp/vexo_onborading.json";
inline constexpr const char* kOwnKeyFile = "/tmp/rsa_pub.pem";

struct Candidate {
  std::string address;
  std::string fingerprint;
  bool approved = false;
};

// Those of the daemon's file; none where it is missing or is no such list.
std::vector<Candidate> read_candidates();

// "SHA256:..." over the key itself, so that it does not depend on how the text is broken into
// lines; "no public key" where the text is none, as it came from the air, and empty for an empty
// one.
std::string fingerprint(const std::string& pem);

// "aa:bb:cc:dd:ee:ff" in lower case, or an empty text for what is no address.
std::string as_address(std::string_view text);

// What the daemon has written there: an empty text where it has not, or where what stands there is
// somebody else's, for in /tmp anybody may plant one.
std::string read_own(const std::string& path);

}  // namespace ctl

#endif
