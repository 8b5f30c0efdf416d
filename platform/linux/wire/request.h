// What `wl` is asked for: the words of its command line, read into one record.
#ifndef PLATFORM_LINUX_WIRE_REQUEST_H
#define PLATFORM_LINUX_WIRE_REQUEST_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "elements.h"

namespace radio {

enum class Wish { none, add_element, remove_element, scan, send_action, switch_channel };

struct Request {
  Wish wish = Wish::none;  // none: `wrong` says what is wrong with the words
  std::string wrong;
  Element element;
  Mac to{};
  std::vector<std::uint8_t> body;
  int channel = 0;  // 0: not said
  int count = 0;    // beacons until a switch
  bool quiet = false;
};

// The words behind `wl`. The line about what is wrong names the word that is.
Request read_request(const std::vector<std::string>& words);

// The words on their way through the socket: each ends with a NUL.
std::string join(const std::vector<std::string>& words);
std::vector<std::string> split(std::string_view message);

inline constexpr std::size_t kMessageMax = 8192;

extern const char* const kUsage;

}  // namespace radio

#endif
