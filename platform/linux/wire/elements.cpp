#include "elements.h"

namespace radio {

bool add(Elements& elements, const Element& element) {
  if (std::find(elements.begin(), elements.end(), element) != elements.end()) {
    return true;
  }
  if (on_air(elements, ~0U).size() + 2 + element.content.size() > kElementsMax) {
    return false;
  }
  elements.push_back(element);
  return true;
}

bool remove(Elements& elements, const Element& element) {
  const auto found = std::find(elements.begin(), elements.end(), element);
  if (found == elements.end()) {
    return false;
  }
  elements.erase(found);
  return true;
}

std::vector<std::uint8_t> on_air(const Elements& elements, unsigned frames) {
  std::vector<std::uint8_t> out;
  for (const auto& [wanted, content] : elements) {
    if ((wanted & frames) != 0) {
      out.push_back(0xdd);
      out.push_back(static_cast<std::uint8_t>(content.size()));
      out.insert(out.end(), content.begin(), content.end());
    }
  }
  return out;
}

}  // namespace radio
