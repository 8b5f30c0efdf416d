// Builders of what the air and the driver hand to the daemon: elements, frames, event datagrams.
//
// They are written from the formats, not with the daemon's own encoders, so that both would have to
// be wrong in the same way.
#ifndef VORLENT_TESTS_AIR_H
#define VORLENT_TESTS_AIR_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace air {

using Bytes = std::vector<std::uint8_t>;
using Mac = std::array<std::uint8_t, 6>;

inline constexpr Mac UNIT = {0x02, 0x00, 0x00, 0x00, 0x00, 0x0a};
inline constexpr Mac BASE = {0xac, 0x10, 0x20, 0x30, 0x40, 0x50};
inline const std::string UNIT_TEXT = "02:00:00:00:00:0a";
inline const std::string BASE_BSSID = "AC:10:20:30:40:50";

Bytes operator+(const Bytes& a, const Bytes& b);
Bytes from_hex(const std::string& digits);
Bytes from_text(const std::string& text);
std::string to_hex(const Bytes& bytes);

// The vendor element as `prod_id` sends it.
Bytes element(std::uint8_t prod_id, std::uint8_t plon_vie_data = 1);

// A tag-length-value element of 802.11.
Bytes ie(std::uint8_t id, const Bytes& body);

// The data of a probe request event: receive descriptor, management header, elements.
Bytes probe_data(const Bytes& elements);

struct Scan {
  Mac bssid = BASE;
  std::uint16_t chanspec = 0x1006;
  Bytes elements;
};
// The data of a scan result event; `swapped`: as a big-endian driver writes it.
Bytes scan_data(const Scan& scan, bool swapped = false);

// The body of a vendor public action frame; 1004 comes without a length where it has no data.
Bytes action_frame(std::uint16_t attr_id, const Bytes& data);

// A driver event datagram.
Bytes event(std::uint32_t type, const Mac& addr, const Bytes& data,
            const std::string& interface = "wl0", std::uint32_t status = 8);

// The plaintext of operation 1002, and the credential content.
Bytes sat_key_content(const std::string& pem, std::uint8_t plon_vie_data = 2);
Bytes credentials(const std::string& ssid, const std::string& pass_phrase,
                  const std::string& crypto, const std::string& akm);

}  // namespace air

#endif
