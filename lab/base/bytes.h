// Bytes and how they are put together: a buffer that grows, writers of both byte orders,
// hexadecimal text and hardware addresses. Readers are two small functions on a view that never
// leave it.
//
// The laboratory reads and writes every format of the air and of the driver by itself and shares no
// code with the daemon: a format that both understand has been read twice.
#ifndef LAB_BYTES_H
#define LAB_BYTES_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;
using Mac = std::array<std::uint8_t, 6>;

inline constexpr Mac kBroadcast{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

void put8(Bytes& out, unsigned value);
void put_be16(Bytes& out, unsigned value);
void put_be32(Bytes& out, std::uint32_t value);
void put_le16(Bytes& out, unsigned value);
void put_le32(Bytes& out, std::uint32_t value);
void put(Bytes& out, View bytes);
void put(Bytes& out, std::string_view text);
void put_zeros(Bytes& out, std::size_t count);

// The number at `offset`, or none where the view ends before it does.
std::optional<unsigned> be16(View bytes, std::size_t offset);
std::optional<unsigned> le16(View bytes, std::size_t offset);

// The bytes from `offset` on, at most `count` of them; an empty view past the end.
View slice(View bytes, std::size_t offset, std::size_t count = SIZE_MAX);

std::string text_of(const Mac& mac);  // "aa:bb:cc:dd:ee:ff"
std::optional<Mac> parse_mac(std::string_view text);
std::string hex(View bytes);
// None where the text has an odd number of digits or anything but digits in it.
std::optional<Bytes> parse_hex(std::string_view text);

}  // namespace lab

#endif
