// The vendor information element by which base and unit recognise each other.
//
// As it stands on the air, all single bytes:
//
//   0  1  id             0xDD, vendor specific
//   1  1  len            bytes that follow, 11
//   2  3  oui            02:7E:91
//   5  3  reserved       0
//   8  1  version        3
//   9  1  prod_type      8
//  10  1  prod_id        role of the sender: 1 base, 2 un-configured unit
//  11  1  ifname         1
//  12  1  plon_vie_data  1 in advertised elements and operation 1000, 2 in operation 1002
//
// It stands this low because the commands that put it on the air and the handshake's contents are
// both made from it; what is done with a received one is in discovery/vendor_ie.h.
// (Elements: IEEE Std 802.11-2020, 9.4.2; vendor specific: 9.4.2.25.)
#ifndef VORLENT_CORE_PELION_ELEMENT_H
#define VORLENT_CORE_PELION_ELEMENT_H

#include <array>
#include <cstdint>

inline constexpr std::uint8_t VENDOR_SPECIFIC = 0xDD;
inline constexpr std::array<std::uint8_t, 3> PELION_OUI = {0x02, 0x7E, 0x91};
inline constexpr std::size_t PLON_IE_SIZE = 13;

inline constexpr std::uint8_t PROD_TYPE_MESH = 8;
inline constexpr std::uint8_t PROD_ID_BASE = 1;
inline constexpr std::uint8_t PROD_ID_UNIT = 2;
inline constexpr std::uint8_t VIE_DATA_ADVERTISED = 1;  // also in operation 1000
inline constexpr std::uint8_t VIE_DATA_SEALED = 2;      // inside operation 1002

using PelionElement = std::array<std::uint8_t, PLON_IE_SIZE>;

// The bytes of the element that a sender of this role advertises or seals.
constexpr PelionElement pelion_element(std::uint8_t prod_id, std::uint8_t plon_vie_data) {
  constexpr std::uint8_t VERSION = 3;
  constexpr std::uint8_t IFNAME = 1;
  return {VENDOR_SPECIFIC, PLON_IE_SIZE - 2, PELION_OUI[0], PELION_OUI[1], PELION_OUI[2], 0, 0, 0,
          VERSION,         PROD_TYPE_MESH,   prod_id,       IFNAME,        plon_vie_data};
}

#endif
