// The vendor element found at the end of a beacon's elements: the walk alone, and with the copy and
// the check that decide whether a base was found.
#include <algorithm>

#include "discovery/vendor_ie.h"
#include "support/bench.h"

namespace {

air::Bytes beacon(const benchmark::State& state) {
  return beacon_elements(static_cast<std::size_t>(state.range(0)), air::element(PROD_ID_BASE));
}

void find_element(benchmark::State& state) {
  const air::Bytes elements = beacon(state);
  measure(state, [&] { benchmark::DoNotOptimize(find_vendor_ie(elements, PELION_OUI)); });
}
BENCHMARK(find_element)->Arg(11)->Arg(20);

void find_and_check_element(benchmark::State& state) {
  const air::Bytes elements = beacon(state);
  measure(state, [&] {
    PelionIe ie{};
    copy_plon_ie(find_vendor_ie(elements, PELION_OUI), ie);
    if (!is_advertised_by(ie, PROD_ID_BASE)) {
      state.SkipWithError("the element was not found");
    }
  });
}
BENCHMARK(find_and_check_element)->DenseRange(11, 20);

// The least that finding it takes, without a look at where anything ends.
void walk_elements(benchmark::State& state) {
  const air::Bytes elements = beacon(state);
  measure(state, [&] {
    const std::uint8_t* at = elements.data();
    while (at[0] != 0xDD || !std::equal(PELION_OUI.begin(), PELION_OUI.end(), at + 2)) {
      at += 2 + at[1];
    }
    benchmark::DoNotOptimize(at);
  });
}
BENCHMARK(walk_elements)->DenseRange(11, 20);

}  // namespace
