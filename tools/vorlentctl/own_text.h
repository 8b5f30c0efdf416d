// Files of the daemon that stand where anybody may write.
#ifndef VORLENTCTL_OWN_TEXT_H
#define VORLENTCTL_OWN_TEXT_H

#include <string>

namespace ctl {

// What the daemon has written there: an empty text where it has not, or where what stands there is
// somebody else's, for in /tmp anybody may plant one.
std::string read_own(const std::string& path);

}  // namespace ctl

#endif
