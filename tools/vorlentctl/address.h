// A station's address, as a person or the log writes it.
#ifndef VORLENTCTL_ADDRESS_H
#define VORLENTCTL_ADDRESS_H

#include <string>
#include <string_view>

namespace ctl {

// "aa:bb:cc:dd:ee:ff" in lower case, or an empty text for what is no address.
std::string as_address(std::string_view text);

}  // namespace ctl

#endif
