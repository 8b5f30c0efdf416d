// What is done with a received vendor element (core/pelion_element.h draws it), and the one walker
// over lists of elements. They come from probe requests (probe_request.h) and scan results
// (scan_result.h).
//
// Of a received element only oui, prod_type, prod_id and plon_vie_data decide; reserved, version
// and ifname are never looked at. An element shorter than 13 bytes counts as if zeros followed.
#ifndef VORLENT_DISCOVERY_VENDOR_IE_H
#define VORLENT_DISCOVERY_VENDOR_IE_H

#include <array>
#include <cstdint>

#include "core/bytes.h"
#include "core/pelion_element.h"

struct PelionIe {
  std::uint8_t id;
  std::uint8_t len;
  std::array<std::uint8_t, 3> oui;
  std::array<std::uint8_t, 3> reserved;
  std::uint8_t version;
  std::uint8_t prod_type;
  std::uint8_t prod_id;
  std::uint8_t ifname;
  std::uint8_t plon_vie_data;
};

// The list itself when an element stands whole at its front, otherwise an empty view.
ByteView first_tlv(ByteView list);

// `list` starts with a whole element: the rest of the list, from the next whole element on, or an
// empty view. Always shorter than `list`.
ByteView bcm_next_tlv(ByteView list);

// The element at the front of `list`, header and body; `list` starts with a whole element.
ByteView front_tlv(ByteView list);

// The first vendor specific element of `ies` with this OUI and, behind it, `type`; it has at least
// one byte more. An empty view when there is none.
ByteView find_vendor_ie(ByteView ies, const std::array<std::uint8_t, 3>& oui, ByteView type = {});

// Copies the first 13 bytes of `elem`, zeros for those it does not have. Returns 0.
int copy_plon_ie(ByteView elem, PelionIe& out);

// 1 when the received element has our OUI and the expected prod_type, prod_id and plon_vie_data,
// otherwise 0. Logs each step up to the first difference.
int check_plon_ie(const PelionIe& received, const PelionIe& expected);

// True when the three deciding bytes have these values; the OUI is the caller's to compare.
bool is_advertised_by(const PelionIe& ie, std::uint8_t prod_id);

// Logs every field.
void dump_plon_ie(const PelionIe& ie);

// Logs "ie:" and the bytes of an element in hexadecimal, as `speaker`; no line feed.
void log_ie_bytes(const char* speaker, ByteView elem);

#endif
