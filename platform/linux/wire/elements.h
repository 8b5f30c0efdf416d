// The vendor elements that the radio carries, by the frames that carry them.
#ifndef PLATFORM_LINUX_WIRE_ELEMENTS_H
#define PLATFORM_LINUX_WIRE_ELEMENTS_H

#include <vector>

#include "bytes.h"

namespace radio {

// The frames that may carry an element, as `wl` numbers them.
inline constexpr unsigned kInBeacons = 1;
inline constexpr unsigned kInProbeResponses = 2;
inline constexpr unsigned kInAssociation = 4 | 8;
inline constexpr unsigned kInProbeRequests = 16;

inline constexpr std::size_t kElementsMax =
    1024;  // bytes of all on the air; a beacon has no room for more

struct Element {
  unsigned frames = 0;                // a set of the above
  std::vector<std::uint8_t> content;  // OUI and data, at most 255 bytes

  bool operator==(const Element&) const = default;
};

using Elements = std::vector<Element>;

// False where there is no room; an element that is there already stays there once.
[[nodiscard]] bool add(Elements& elements, const Element& element);

// False where it is not there with just these frames.
[[nodiscard]] bool remove(Elements& elements, const Element& element);

// Those that go into one of `frames`, one after the other as they stand on the air.
std::vector<std::uint8_t> on_air(const Elements& elements, unsigned frames);

}  // namespace radio

#endif
