// Units that have sent their key and wait for their credentials, as the daemon lists them.
#ifndef VORLENTCTL_CANDIDATES_H
#define VORLENTCTL_CANDIDATES_H

#include <string>
#include <vector>

namespace ctl {

inline constexpr const char* kCandidateFile = "/tmp/vexo_onborading.json";

struct Candidate {
  std::string address;
  std::string fingerprint;
  bool approved = false;
};

// Those of the daemon's file; none where it is missing or is no such list.
std::vector<Candidate> read_candidates();

}  // namespace ctl

#endif
