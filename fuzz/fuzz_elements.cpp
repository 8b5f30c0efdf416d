// Lists of elements: straight into the walker, and as a base hears them in a probe request and a
// unit in a scan result.
#include "discovery/vendor_ie.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView list(data, size);
  std::size_t steps = 0;
  for (ByteView rest = first_tlv(list); !rest.empty(); rest = bcm_next_tlv(rest)) {
    const ByteView element = front_tlv(rest);
    require(element.size() >= 2 && element.data() + element.size() <= data + size, "it is inside");
    require(++steps <= size / 2, "the walk moves on");
  }
  const ByteView found = find_vendor_ie(list, PELION_OUI);
  require(found.empty() || (found.size() >= 5 && found[0] == 0xDD && found[3] == 0x7E), "ours");
  boot(ONBOARD_MODE_BASE);
  receive(air::event(44, air::UNIT, air::probe_data({list.begin(), list.end()})));
  require(context.candidate_count <= 1, "one station for one sender");
  boot(ONBOARD_MODE_UNCONFIGURED);
  air::Scan scan;
  scan.elements.assign(list.begin(), list.end());
  receive(air::event(69, air::BASE, air::scan_data(scan)));
  PelionIe ie{};
  copy_plon_ie(found, ie);
  const bool whole = size <= 4096 - 88 - 12 - 128;
  require(!whole || (context.cur_mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE) ==
                        is_advertised_by(ie, PROD_ID_BASE),
          "a base leads to the handshake");
  return 0;
}
