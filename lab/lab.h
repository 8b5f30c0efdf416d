// The whole laboratory in one record, and the one road on which everything that happens travels.
//
// Whoever does or sees something calls `publish`; the recorder writes it down, the handshake watch
// follows the units' stages, the console tells it, the director checks its scenario, and the
// platform and the base's owner react, in this order.
#ifndef LAB_LAB_H
#define LAB_LAB_H

#include <memory>
#include <string>
#include <vector>

#include "air/air.h"
#include "air/radio.h"
#include "base/loop.h"
#include "node/owner.h"
#include "node/platform.h"
#include "node/sandbox.h"
#include "results/console.h"
#include "results/recorder.h"
#include "story/director.h"
#include "story/scenario.h"

namespace lab {

enum class NodeKind { base, unit, stranger };

// What is known of a unit's way in, read off the air and its NVRAM.
struct Journey {
  enum class First { none, running, completed, failed, spoiled };
  First first_handshake = First::none;  // spoiled: the scenario cut it short
  int sent = 0;                         // last operation that it sent in this handshake
  int heard = 0;                        // last one that its daemon was told of
  int gave_up = 0;
  int frames = 0;
  int resent = 0;
  int crashes = 0;
  int torn = 0;  // NVRAM files that were not whole
  Time powered{-1};
  Time credentials{-1};
  Time installed{-1};
};

struct Node {
  NodeKind kind = NodeKind::unit;
  std::string name;
  Radio radio;
  Sandbox sandbox;
  Platform platform;
  Owner owner;  // a base's
  Journey journey;
};

enum class What { frame, heard, command, mode, nvram, power, daemon, platform, scenario, fault };

struct Occurrence {
  What what;
  Node* node;            // whom it happened to; none: the laboratory
  std::string text;      // in words
  Node* peer = nullptr;  // frame, heard: the other side
  int number = 0;        // frame, heard: operation; mode: the new one; command: exit status
  int before = 0;        // mode: the old one; frame: 1 when it was sent before
  std::string key{};     // nvram
  std::string value{};   // nvram; absent keys have none
  Time time{};           // filled in by `publish`
};

struct Options {
  std::string scenario = "onboard";
  std::string out = "lab-results";
  std::string daemon;  // path of the daemon's binary
  std::string tools;   // folder of this program and its companions
  bool json = false;
  bool keep = false;
};

struct Lab {
  Options options;
  Scenario scenario;
  Loop loop;
  std::string work;  // the run's folder, removed at its end
  std::vector<std::unique_ptr<Node>> nodes;
  AirSettings air;
  AirCounts air_counts;
  Recorder recorder;
  Console console;
  Director director;
  int inotify = -1;
  std::map<int, Node*> inotify_nodes;
  int exit_status = -1;  // set when the run is to end
  std::string failure;   // of the laboratory itself, in one line
  bool time_lapse = false;
};

void publish(Lab& lab, Occurrence seen);
// Keeps the node's journey up to date.
void follow_journey(Lab& lab, const Occurrence& seen);
// Ends the run before its time.
void stop(Lab& lab, int exit_status);
Node* find_node(Lab& lab, const std::string& name);
Node* find_station(Lab& lab, const Mac& mac);
std::vector<Node*> all_of(Lab& lab, NodeKind kind);
bool is_powered(const Node& node);

// Runs the scenario that is loaded; the exit status.
int run(Lab& lab);

}  // namespace lab

#endif
