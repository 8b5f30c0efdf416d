#include "air/wl.h"

#include <cstdlib>
#include <optional>

#include "air/radio.h"

namespace lab {

namespace {

constexpr std::size_t kActionBodyMax = 1800;

CommandResult usage(const std::string& text) {
  return {1, "wl: usage: wl " + text + "\n"};
}

CommandResult wrong(const std::string& text) {
  return {1, "wl: " + text + "\n"};
}

std::optional<int> number(const std::string& text, int low, int high) {
  char* end = nullptr;
  const long value = strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < low || value > high) {
    return std::nullopt;
  }
  return static_cast<int>(value);
}

std::optional<int> channel(const std::string& text) {
  const auto value = number(text, 1, 255);
  return value && is_channel(*value) ? value : std::nullopt;
}

// FLAGS LENGTH OUI DATA; the element's content, or why it is none in `error`.
Bytes element_content(const std::vector<std::string>& words, unsigned& flags, std::string& error) {
  const auto kinds = number(words[1], 1, 63);
  const auto length = number(words[2], 4, 255);
  const auto oui = parse_mac(words[3] + ":00:00:00");
  const auto data = parse_hex(words[4]);
  if (!kinds) {
    error = words[1] + ": not a set of packet types";
  } else if (!oui) {
    error = words[3] + ": not an OUI";
  } else if (!data || !length || data->size() + 3 != static_cast<std::size_t>(*length)) {
    error = words[4] + ": not " + words[2] + " bytes with the OUI";
  } else {
    flags = static_cast<unsigned>(*kinds);
    Bytes content(oui->begin(), oui->begin() + 3);
    put(content, *data);
    return content;
  }
  return {};
}

CommandResult change_element(Air& air, Radio& radio, const std::vector<std::string>& words) {
  if (words.size() != 5) {
    return usage(words[0] + " <pktflag> <length> <OUI> <hexdata>");
  }
  std::string error;
  unsigned flags = 0;
  const Bytes content = element_content(words, flags, error);
  if (!error.empty()) {
    return wrong(words[0] + ": " + error);
  }
  auto& elements = radio.elements;
  const auto found = elements.find(content);
  if (words[0] == "add_ie") {
    elements[content] = flags;
  } else if (found == elements.end() || found->second != flags) {
    return wrong("del_ie: no such element");
  } else {
    elements.erase(found);
  }
  if ((flags & kInBeacons) != 0) {
    announce_elements(air, radio);
  }
  return {};
}

CommandResult scan(Air& air, Radio& radio, const std::vector<std::string>& words) {
  if (words.size() != 1) {
    return usage("escanresults");
  }
  if (radio.scan_channel != 0) {
    return wrong("escanresults: Device Busy");
  }
  start_scan(air, radio);
  return {0, "scan started on " + std::to_string(kChannels.size()) + " channels\n"};
}

CommandResult move(Air& air, Radio& radio, const std::vector<std::string>& words) {
  const auto mode = words.size() == 4 ? number(words[1], 0, 1) : std::nullopt;
  const auto count = words.size() == 4 ? number(words[2], 0, 255) : std::nullopt;
  if (!mode || !count) {
    return usage("csa <mode> <count> <channel>");
  }
  const auto to = channel(words[3]);
  if (!to) {
    return wrong("csa: " + words[3] + ": Bad Channel");
  }
  switch_channel(air, radio, *to, *count);
  return {};
}

CommandResult send_action(Air& air, Radio& radio, const std::vector<std::string>& words) {
  if (words.size() != 3 && words.size() != 4) {
    return usage("actframe <address> <hexdata> [<channel>]");
  }
  const auto to = parse_mac(words[1]);
  const auto body = parse_hex(words[2]);
  const auto on = words.size() == 4 ? channel(words[3]) : std::optional(listens_to(radio));
  if (!to) {
    return wrong("actframe: " + words[1] + ": not an address");
  }
  if (!body || body->empty() || body->size() > kActionBodyMax) {
    return wrong("actframe: the data is not 1 to " + std::to_string(kActionBodyMax) +
                 " bytes in hexadecimal");
  }
  if (!on) {
    return wrong("actframe: " + words[3] + ": Bad Channel");
  }
  // A station answers to the BSSID of its peer, an access point to its own.
  const Mac& bssid = radio.access_point ? radio.mac : *to;
  transmit(air, radio, *on, build_action(*to, radio.mac, bssid, radio.sequence++, *body));
  return {};
}

}  // namespace

CommandResult wl(Air& air, Radio& radio, const std::vector<std::string>& words) {
  if (words.empty()) {
    return usage("<command> [arguments]");
  }
  if (!radio.on) {
    return wrong("wl driver adapter not found");
  }
  if (words[0] == "add_ie" || words[0] == "del_ie") {
    return change_element(air, radio, words);
  }
  if (words[0] == "escanresults") {
    return scan(air, radio, words);
  }
  if (words[0] == "csa") {
    return move(air, radio, words);
  }
  if (words[0] == "actframe") {
    return send_action(air, radio, words);
  }
  return wrong("unrecognized command '" + words[0] + "'");
}

}  // namespace lab
