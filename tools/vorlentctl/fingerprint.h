// How a person compares a key: by its fingerprint.
#ifndef VORLENTCTL_FINGERPRINT_H
#define VORLENTCTL_FINGERPRINT_H

#include <string>

namespace ctl {

// "SHA256:..." over the key itself, so that it does not depend on how the text is broken into
// lines; "no public key" where the text is none, as it came from the air, and empty for an empty
// one.
std::string fingerprint(const std::string& pem);

}  // namespace ctl

#endif
