#include "node/stranger.h"

#include <memory>
#include <random>

#include "node/mesh.h"

namespace lab {

namespace {

constexpr std::size_t kLongestBody = 1900;

struct Flood {
  std::mt19937_64 random;
  std::uint64_t epoch;
  Time gap;
  Time next;  // counted from the first frame, so that a late one does not slow the rest down
};

unsigned pick(Flood& flood, unsigned count) {
  return static_cast<unsigned>(flood.random() % count);
}

Bytes noise(Flood& flood, std::size_t length) {
  Bytes bytes;
  while (bytes.size() < length) {
    put8(bytes, static_cast<unsigned>(flood.random()));
  }
  return bytes;
}

Mac made_up_station(Flood& flood) {
  return {0x02, 0x66, 0x66, 0, 0, static_cast<std::uint8_t>(pick(flood, 8))};
}

// An element with the maker's OUI that is short, long, wrong inside or right.
Bytes vendor_element(Flood& flood) {
  Bytes element{0xdd, 0x0b, 0x02, 0x7e, 0x91, 0, 0, 0, 3, 8, 2, 1, 1};
  switch (pick(flood, 5)) {
    case 0:
      element.resize(5 + pick(flood, 8));  // ends within itself
      break;
    case 1:
      element[1] = static_cast<std::uint8_t>(pick(flood, 256));  // claims another length
      break;
    case 2:
      element[8 + pick(flood, 5)] ^= 0x80;  // wrong, and never a base's
      break;
    case 3:
      element[0] = static_cast<std::uint8_t>(flood.random());
      break;
    default:
      break;
  }
  return element;
}

// A frame of the handshake in which the length, the data or both are wrong. It is not cut right
// behind its operation: that is a whole frame without data, which its receiver believes.
Bytes broken_operation(Flood& flood, unsigned operation) {
  Bytes body{0x04, 0x09, 0x02, 0x7e, 0x91};
  put_be16(body, 0x1000 + operation);
  const unsigned length = 1 + pick(flood, 2000);
  put_be16(body, length);
  const std::size_t present = pick(flood, std::min<unsigned>(length, kLongestBody));
  put(body, noise(flood, present));  // always fewer bytes than the length claims
  if (pick(flood, 4) == 0) {
    const unsigned cut = pick(flood, 8);
    body.resize(cut < 7 ? cut : 8);
  }
  return body;
}

// A frame of the handshake that is whole, and that its receiver has grounds to refuse.
Bytes refusable_operation(Flood& flood, bool to_base) {
  Bytes body{0x04, 0x09, 0x02, 0x7e, 0x91};
  if (to_base) {
    put_be16(body, pick(flood, 2) == 0 ? 0x1000 : 0x1002);  // from a station it has not listed
    const Bytes data = (body.back() & 2) != 0 ? noise(flood, 256) : vendor_element(flood);
    put_be16(body, static_cast<unsigned>(data.size()));
    put(body, data);
  } else if (pick(flood, 2) == 0) {
    put_be16(body, 0x1003);  // encrypted with no key of the unit's
    put_be16(body, 512);
    put(body, noise(flood, 512));
  } else {
    put_be16(body, 0x1005 + pick(flood, 100));  // no operation
    put_be16(body, 4);
    put_zeros(body, 4);
  }
  return body;
}

Bytes action(Flood& flood, const Node& to, const Node& in_the_name_of) {
  const bool to_base = to.kind == NodeKind::base;
  const Mac made_up{0x02, 0x66, 0x66, 0, 1, 1};  // never in a probe request, so in no table
  if (pick(flood, 3) == 0) {
    return build_action(to.radio.mac, made_up, to.radio.mac, pick(flood, 4096),
                        refusable_operation(flood, to_base));
  }
  return build_action(to.radio.mac, in_the_name_of.radio.mac, to.radio.mac, pick(flood, 4096),
                      broken_operation(flood, pick(flood, 6)));
}

void send_one(Mesh& mesh, Node& stranger, Flood& flood) {
  const auto units = all_of(mesh, NodeKind::unit);
  const auto bases = all_of(mesh, NodeKind::base);
  Node& unit = *units[pick(flood, static_cast<unsigned>(units.size()))];
  Node& base = *bases[pick(flood, static_cast<unsigned>(bases.size()))];
  const int channel = base.radio.channel;
  switch (pick(flood, 4)) {
    case 0:
      transmit(
          mesh.air, stranger.radio, channel,
          build_probe_request(made_up_station(flood), pick(flood, 4096), vendor_element(flood)));
      break;
    case 1: {
      // A beacon of nobody's: its element is never a base's.
      const Mac bssid = made_up_station(flood);
      transmit(mesh.air, stranger.radio, channel,
               build_bss_frame(FrameKind::beacon, kBroadcast, bssid, pick(flood, 4096), "stranger",
                               channel, vendor_element(flood)));
      break;
    }
    case 2:
      transmit(mesh.air, stranger.radio, channel, action(flood, base, unit));
      break;
    default:
      transmit(mesh.air, stranger.radio, channel, action(flood, unit, base));
  }
}

void flow(Mesh& mesh, Node& stranger, const std::shared_ptr<Flood>& flood) {
  if (flood->epoch != stranger.radio.epoch) {
    return;
  }
  send_one(mesh, stranger, *flood);
  flood->next += flood->gap;
  mesh.loop.at(flood->next, [&mesh, &stranger, flood] { flow(mesh, stranger, flood); });
}

}  // namespace

void start_flood(Mesh& mesh, Node& stranger, int rate) {
  const std::uint64_t epoch = ++stranger.radio.epoch;  // ends the flood that may be running
  if (rate > 0) {
    flow(mesh, stranger,
         std::make_shared<Flood>(Flood{std::mt19937_64(mesh.air.settings.seed), epoch,
                                       Time(1s) / rate, mesh.loop.clock.now()}));
  }
}

}  // namespace lab
