#include "netlink_answer.h"

#include <netlink/attr.h>

#include <cstring>

namespace radio {

namespace {

template <typename Number>
Number number_of(const nlattr* attribute) {
  Number out = 0;
  if (const View bytes = bytes_of(attribute); bytes.size() == sizeof out) {
    memcpy(&out, bytes.data(), sizeof out);
  }
  return out;
}

}  // namespace

View bytes_of(const nlattr* attribute) {
  return attribute == nullptr ? View{}
                              : View{static_cast<const std::uint8_t*>(nla_data(attribute)),
                                     static_cast<std::size_t>(nla_len(attribute))};
}

unsigned u16_of(const nlattr* attribute) {
  return number_of<std::uint16_t>(attribute);
}

std::uint32_t u32_of(const nlattr* attribute) {
  return number_of<std::uint32_t>(attribute);
}

std::uint64_t u64_of(const nlattr* attribute) {
  return number_of<std::uint64_t>(attribute);
}

void take_bss(nlattr** attributes, const std::function<void(const Bss&)>& take) {
  std::array<nlattr*, NL80211_BSS_MAX + 1> parts{};
  if (attributes[NL80211_ATTR_BSS] == nullptr ||
      nla_parse_nested(parts.data(), NL80211_BSS_MAX, attributes[NL80211_ATTR_BSS], nullptr) != 0) {
    return;
  }
  const View address = bytes_of(parts[NL80211_BSS_BSSID]);
  if (address.size() == 6) {
    take({.bssid = mac_at(address, 0),
          .frequency = static_cast<int>(u32_of(parts[NL80211_BSS_FREQUENCY])),
          .beacon_interval = u16_of(parts[NL80211_BSS_BEACON_INTERVAL]),
          .capabilities = u16_of(parts[NL80211_BSS_CAPABILITY]),
          .signal = static_cast<std::int32_t>(u32_of(parts[NL80211_BSS_SIGNAL_MBM])) / 100,
          .elements = bytes_of(parts[NL80211_BSS_INFORMATION_ELEMENTS])});
  }
}

std::optional<Notification> notification(int command, nlattr** attributes) {
  Notification out{};
  out.cookie = u64_of(attributes[NL80211_ATTR_COOKIE]);
  out.acknowledged = attributes[NL80211_ATTR_ACK] != nullptr;
  out.frame = bytes_of(attributes[NL80211_ATTR_FRAME]);
  out.frequency = static_cast<int>(u32_of(attributes[NL80211_ATTR_WIPHY_FREQ]));
  switch (command) {
    case NL80211_CMD_NEW_SCAN_RESULTS:
      out.what = Notice::scan_done;
      return out;
    case NL80211_CMD_SCAN_ABORTED:
      out.what = Notice::scan_aborted;
      return out;
    case NL80211_CMD_FRAME_TX_STATUS:
      out.what = Notice::sent;
      return out;
    case NL80211_CMD_CANCEL_REMAIN_ON_CHANNEL:
      out.what = Notice::stay_ended;
      return out;
    case NL80211_CMD_TRIGGER_SCAN:
    case NL80211_CMD_AUTHENTICATE:
    case NL80211_CMD_CONNECT:
      out.what = Notice::wanted;
      return out;
    case NL80211_CMD_FRAME:
      out.what = Notice::frame;
      return out;
    default:
      return std::nullopt;
  }
}

}  // namespace radio
