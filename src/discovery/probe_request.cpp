#include "discovery/probe_request.h"

#include "core/log.h"
#include "discovery/candidate_table.h"
#include "discovery/vendor_ie.h"

namespace {

constexpr const char* AS_PARSE_PLON_IE_FROM_PROBE = "parse_plon_ie_from_probe";

// Probe request data: a 16-byte receive descriptor, the 24-byte management header, the elements.
constexpr std::size_t PROBE_ELEMENTS_AT = 40;

bool has_pelion_oui(ByteView elem) {
  return ByteReader(elem, 2).array<3>() == PELION_OUI;
}

void add_candidate(const MacText& sta) {
  CandidateEntry entry{};
  entry.mac = sta;
  update_candidate_table(candidate_table, entry);
  dump_current_support_list();
}

void examine_probe_element(ByteView elem, const MacText& sta) {
  ONBOARD_LOG_AS(AS_PARSE_PLON_IE_FROM_PROBE, "[Pelion OUI detect]\n");
  PelionIe ie{};
  copy_plon_ie(elem, ie);
  dump_plon_ie(ie);
  if (is_advertised_by(ie, PROD_ID_UNIT)) {
    ONBOARD_LOG_AS(AS_PARSE_PLON_IE_FROM_PROBE, "Receive Mesh onboarding Probe Request!!.\n");
    add_candidate(sta);
  }
}

}  // namespace

// By the OUI under any element id, and every such element: a base has always taken units in by
// that, while a unit takes the first vendor specific one of a scan record and no other.
int parse_plon_ie_from_probe(const DriverEventMsg& event, const MacText& sta) {
  const ByteView elements = clipped(event.data, PROBE_ELEMENTS_AT);
  for (ByteView list = first_tlv(elements); !list.empty(); list = bcm_next_tlv(list)) {
    const ByteView elem = front_tlv(list);
    if (has_pelion_oui(elem)) {
      examine_probe_element(elem, sta);
    }
  }
  return 0;
}
