// The kernel's messages about 802.11, read. A number is read only where it is as long as it ought
// to be, and what is missing is 0 or empty.
#ifndef PLATFORM_LINUX_RADIO_NETLINK_ANSWER_H
#define PLATFORM_LINUX_RADIO_NETLINK_ANSWER_H

#include <linux/nl80211.h>

#include "nl80211.h"

namespace radio {

using Attributes = std::array<nlattr*, NL80211_ATTR_MAX + 1>;

View bytes_of(const nlattr* attribute);
unsigned u16_of(const nlattr* attribute);
std::uint32_t u32_of(const nlattr* attribute);
std::uint64_t u64_of(const nlattr* attribute);

// Hands over the BSS that one answer to a question for scan results is about.
void take_bss(nlattr** attributes, const std::function<void(const Bss&)>& take);

// None for the many that nobody here waits for.
std::optional<Notification> notification(int command, nlattr** attributes);

}  // namespace radio

#endif
