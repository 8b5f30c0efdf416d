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

struct CommandResult {
  int status = 0;
  std::string text;
};

int listens_to(const Radio& radio);
void radio_on(Lab& lab, Node& node);
void radio_off(Node& node);

// The `wl` utility: its arguments without the name, its exit status and what it prints.
CommandResult wl(Lab& lab, Node& node, const std::vector<std::string>& arguments);

// A frame that has reached the antenna.
void hear(Lab& lab, Node& node, const Transmission& sent, const Fate& fate);

}  // namespace lab

#endif
