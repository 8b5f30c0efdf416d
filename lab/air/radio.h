// A unit's radio: its channel, the elements that the driver adds to its frames, its scans, and the
// forwarder that turns what it hears into driver events for the unit's daemon.
//
// Where a real driver could do one or the other, this one does:
// - An element that is added twice is there once: the second `add_ie` replaces the first.
// - A station without a BSS has nobody to announce a channel switch to, so `csa` moves it at once;
//   an access point moves when its count of beacons has gone out. Either ends a running scan.
// - A scan listens to each channel for a while and sends two probe requests there.
// - `actframe` with a channel transmits there and stays where it listens.
#ifndef LAB_RADIO_H
#define LAB_RADIO_H

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "air/air.h"

namespace lab {

// Not the vector's own order: GCC 12 warns of its inlined comparison of lengths.
struct ByContent {
  bool operator()(const Bytes& a, const Bytes& b) const {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
  }
};

struct Radio {
  Mac mac{};
  std::string ssid;
  bool access_point = false;
  bool on = false;
  bool muted = false;  // neither hears nor is heard
  int channel = 1;
  int scan_channel = 0;  // 0: no scan is running
  unsigned sequence = 0;
  std::uint64_t epoch = 0;  // counts power cuts: what was due before one never happens
  std::uint64_t scan = 0;   // counts scans and their ends
  std::set<Mac> scan_found;
  std::map<Bytes, unsigned, ByContent>
      elements;  // OUI and data, to the kinds of frame that carry it
  // What was last sent of each operation to each station: the same again is a resend.
  std::map<std::pair<int, Mac>, Bytes> last_sent;
};

inline constexpr unsigned kInBeacons = 1;  // of the kinds of frame

int listens_to(const Radio& radio);
void radio_on(Air& air, Radio& radio);
void radio_off(Radio& radio);
// An access point's elements have changed.
void announce_elements(Air& air, Radio& radio);
void start_scan(Air& air, Radio& radio);
void switch_channel(Air& air, Radio& radio, int channel, int beacons);
// A new handshake begins: what goes to and from this radio from now on is not sent again.
void forget_sent(Air& air, const Radio& radio);

// A frame that has reached the antenna.
void hear(Air& air, Radio& radio, const Transmission& sent, const Fate& fate);

}  // namespace lab

#endif
