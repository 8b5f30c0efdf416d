#include "request.h"

#include <charconv>

#include "frame.h"

namespace radio {

namespace {

std::optional<int> number(std::string_view text, int low, int high) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && value >= low && value <= high ? std::optional(value) : std::nullopt;
}

// Pairs of digits with `between` them, or with nothing between where that is NUL.
std::optional<std::vector<std::uint8_t>> bytes_of(std::string_view text, char between) {
  std::vector<std::uint8_t> out;
  const std::size_t step = between == '\0' ? 2 : 3;
  for (std::size_t at = 0; at < text.size(); at += step) {
    unsigned value = 0;
    const std::string_view pair = text.substr(at, 2);
    const char* end = std::from_chars(pair.data(), pair.data() + pair.size(), value, 16).ptr;
    if (end - pair.data() != 2) {
      return std::nullopt;
    }
    const std::string_view behind = text.substr(at + 2, step - 2);
    if (step == 3 && !behind.empty() && (behind[0] != between || at + step == text.size())) {
      return std::nullopt;
    }
    out.push_back(static_cast<std::uint8_t>(value));
  }
  return out;
}

Request wrong(const std::string& text) {
  Request out;
  out.wrong = text;
  return out;
}

Request element_request(Wish wish, const std::vector<std::string>& words) {
  if (words.size() != 5) {
    return wrong(words[0] + " takes FRAMES LENGTH OUI DATA");
  }
  const auto frames = number(words[1], 1, 31);
  const auto length = number(words[2], 4, 255);
  auto content = bytes_of(words[3], ':');
  const auto data = bytes_of(words[4], '\0');
  if (!frames) {
    return wrong(words[1] + ": no set of frames (1 beacons, 2 probe responses, 16 probe requests)");
  }
  if ((static_cast<unsigned>(*frames) & kInAssociation) != 0) {
    return wrong(words[1] + ": association frames (4 and 8) cannot carry elements here");
  }
  if (!content || content->size() != 3) {
    return wrong(words[3] + ": no OUI such as 02:7E:91");
  }
  if (!data || !length || data->size() + 3 != static_cast<std::size_t>(*length)) {
    return wrong(words[4] + ": not " + words[2] + " bytes in hexadecimal with the OUI");
  }
  content->insert(content->end(), data->begin(), data->end());
  Request out;
  out.wish = wish;
  out.element = {static_cast<unsigned>(*frames), *content};
  return out;
}

Request scan_request(const std::vector<std::string>& words) {
  Request out;
  out.wish = Wish::scan;
  return words.size() == 1 ? out : wrong("escanresults takes no arguments");
}

Request action_request(const std::vector<std::string>& words) {
  if (words.size() != 3 && words.size() != 4) {
    return wrong("actframe takes ADDRESS DATA [CHANNEL]");
  }
  const auto to = bytes_of(words[1], ':');
  const auto body = bytes_of(words[2], '\0');
  if (!to || to->size() != 6) {
    return wrong(words[1] + ": no address such as 02:00:00:00:01:00");
  }
  if (!body || body->empty() || body->size() > kActionBodyMax) {
    return wrong("actframe: the data is not 1 to " + std::to_string(kActionBodyMax) +
                 " bytes in hexadecimal");
  }
  const auto channel = words.size() == 4 ? number(words[3], 1, 255) : 0;
  if (!channel || (words.size() == 4 && frequency_of(*channel) == 0)) {
    return wrong(words[3] + ": no channel");
  }
  Request out;
  out.wish = Wish::send_action;
  out.to = mac_at(*to, 0);
  out.body = *body;
  out.channel = *channel;
  return out;
}

Request switch_request(const std::vector<std::string>& words) {
  if (words.size() != 4) {
    return wrong("csa takes MODE COUNT CHANNEL");
  }
  const auto mode = number(words[1], 0, 1);
  const auto count = number(words[2], 0, 255);
  const auto channel = number(words[3], 1, 255);
  if (!mode) {
    return wrong(words[1] + ": no mode (0 go on sending until the switch, 1 fall silent)");
  }
  if (!count) {
    return wrong(words[2] + ": no count of beacons, 0 to 255");
  }
  if (!channel || frequency_of(*channel) == 0) {
    return wrong(words[3] + ": no channel");
  }
  Request out;
  out.wish = Wish::switch_channel;
  out.channel = *channel;
  out.count = *count;
  out.quiet = *mode == 1;
  return out;
}

}  // namespace

const char* const kUsage =
    "Usage: wl COMMAND [ARGUMENT...]\n"
    "\n"
    "  add_ie FRAMES LENGTH OUI DATA     carry a vendor element: FRAMES is the sum of 1 "
    "(beacons),\n"
    "                                    2 (probe responses) and 16 (probe requests), LENGTH the\n"
    "                                    bytes of OUI and DATA together\n"
    "  del_ie FRAMES LENGTH OUI DATA     carry it no longer\n"
    "  escanresults                      scan; the results go to the daemon\n"
    "  actframe ADDRESS DATA [CHANNEL]   send an action frame, from its category byte on\n"
    "  csa MODE COUNT CHANNEL            move to a channel; an access point announces it for "
    "COUNT\n"
    "                                    beacons, in MODE 1 with its stations silent\n"
    "  --help, --version\n"
    "\n"
    "The radio belongs to the service vorlent-radio. Exit status: 0 done, 1 failed, 2 wrong use.\n";

Request read_request(const std::vector<std::string>& words) {
  if (words.empty()) {
    return wrong("a command is missing; see wl --help");
  }
  if (words[0] == "add_ie") {
    return element_request(Wish::add_element, words);
  }
  if (words[0] == "del_ie") {
    return element_request(Wish::remove_element, words);
  }
  if (words[0] == "escanresults") {
    return scan_request(words);
  }
  if (words[0] == "actframe") {
    return action_request(words);
  }
  if (words[0] == "csa") {
    return switch_request(words);
  }
  return wrong(words[0] + ": no such command; see wl --help");
}

std::string join(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words) {
    out += word;
    out += '\0';
  }
  return out;
}

std::vector<std::string> split(std::string_view message) {
  std::vector<std::string> out;
  while (!message.empty()) {
    const std::size_t end = std::min(message.find('\0'), message.size());
    out.emplace_back(message.substr(0, end));
    message.remove_prefix(std::min(end + 1, message.size()));
  }
  return out;
}

}  // namespace radio
