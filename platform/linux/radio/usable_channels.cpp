#include "usable_channels.h"

#include <netlink/attr.h>

#include "netlink_answer.h"

namespace radio {

namespace {

bool may_send_on(nlattr** frequency) {
  return frequency[NL80211_FREQUENCY_ATTR_FREQ] != nullptr &&
         frequency[NL80211_FREQUENCY_ATTR_DISABLED] == nullptr &&
         frequency[NL80211_FREQUENCY_ATTR_NO_IR] == nullptr &&
         frequency[NL80211_FREQUENCY_ATTR_RADAR] == nullptr;
}

}  // namespace

void collect_frequencies(const nlattr* band, std::vector<int>& out) {
  std::array<nlattr*, NL80211_BAND_ATTR_MAX + 1> parts{};
  nla_parse(parts.data(), NL80211_BAND_ATTR_MAX, static_cast<nlattr*>(nla_data(band)),
            nla_len(band), nullptr);
  nlattr* one = nullptr;
  int left = 0;
  if (parts[NL80211_BAND_ATTR_FREQS] == nullptr) {
    return;
  }
  nla_for_each_nested(one, parts[NL80211_BAND_ATTR_FREQS], left) {
    std::array<nlattr*, NL80211_FREQUENCY_ATTR_MAX + 1> frequency{};
    nla_parse(frequency.data(), NL80211_FREQUENCY_ATTR_MAX, static_cast<nlattr*>(nla_data(one)),
              nla_len(one), nullptr);
    const int mhz = static_cast<int>(u32_of(frequency[NL80211_FREQUENCY_ATTR_FREQ]));
    if (may_send_on(frequency.data()) && channel_of(mhz) != 0) {
      out.push_back(mhz);
    }
  }
}

}  // namespace radio
