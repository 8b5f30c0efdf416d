// A small writer of pcapng files: one section, interfaces with nanosecond time stamps, packets with
// a comment. Blocks are little-endian and padded to 4 bytes, as the format asks.
#ifndef LAB_PCAPNG_H
#define LAB_PCAPNG_H

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace lab {

inline constexpr unsigned kLinkRadiotap = 127;
inline constexpr unsigned kLinkIp = 101;
inline constexpr unsigned kLinkUpperPdu = 252;

class Pcapng {
 public:
  // False, with errno set, where the file cannot be made.
  bool open(const std::string& path);
  // Interfaces are numbered from 0 in the order of adding.
  void add_interface(unsigned link_type, std::string_view name, std::string_view description);
  void packet(unsigned interface, std::uint64_t nanoseconds, View bytes, std::string_view comment);
  bool failed() const { return file_ != nullptr && ferror(file_.get()) != 0; }
  // False where anything could not be written.
  bool close();

 private:
  struct Close {
    void operator()(FILE* file) const { fclose(file); }
  };
  void block(std::uint32_t type, View body);

  std::unique_ptr<FILE, Close> file_;
};

// An IPv4 packet with a UDP datagram on the loopback.
Bytes udp_packet(unsigned port, View payload);
// A text that a reader of captures shows as lines of text.
Bytes text_packet(std::string_view text);

}  // namespace lab

#endif
