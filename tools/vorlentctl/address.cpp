#include "address.h"

#include <cctype>

namespace ctl {

std::string as_address(std::string_view text) {
  std::string out(text);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const auto byte = static_cast<unsigned char>(out[i]);
    if (i % 3 == 2 ? byte != ':' : std::isxdigit(byte) == 0) {
      return "";
    }
    out[i] = static_cast<char>(std::tolower(byte));
  }
  return out.size() == 17 ? out : "";
}

}  // namespace ctl
