// Lists of elements: straight into the walker, and as a base hears them in a probe request and a
// unit in a scan result.
#include "discovery/vendor_ie.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes list(data, data + std::min<std::size_t>(size, 3800));
  std::size_t walked = 0;
  for (ByteView rest = first_tlv(list); !rest.empty(); rest = bcm_next_tlv(rest)) {
    walked += front_tlv(rest).size();
    require(front_tlv(rest).size() >= 2 && walked <= list.size(), "the walk moves on, inside");
  }
  boot(ONBOARD_MODE_BASE);
  receive(air::event(44, air::UNIT, air::probe_data(list)));
  require(context.candidate_count <= 1, "one station for one sender");
  boot(ONBOARD_MODE_UNCONFIGURED);
  receive(air::event(69, air::BASE, air::scan_data({.elements = list})));
  PelionIe ie{};
  copy_plon_ie(find_vendor_ie(list, PELION_OUI), ie);
  require(
      (context.cur_mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE) == is_advertised_by(ie, PROD_ID_BASE),
      "a base leads to the handshake");
  return 0;
}
