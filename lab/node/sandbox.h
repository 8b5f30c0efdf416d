// A unit's box: processes, loopback, /tmp and PATH of its own, made by bubblewrap as an ordinary
// user. The first process inside is the agent; /tmp is a folder of the host, so that the laboratory
// looks at the unit's NVRAM without going in.
//
// Inside, /run/bin holds the daemon and the unit's programs and is the head of PATH; /run/lab holds
// the command socket, the daemon's standard output and its debug log, which outlive a power cut.
#ifndef LAB_SANDBOX_H
#define LAB_SANDBOX_H

#include <sys/types.h>

#include <map>
#include <string>

#include "base/bytes.h"

namespace lab {

struct Lab;
struct Node;

struct Sandbox {
  std::string folder;  // on the host
  pid_t pid = -1;      // of bubblewrap
  int agent = -1;      // socket to the agent
  int commands = -1;   // socket that the unit's programs connect to
  bool daemon_runs = false;
  long peak_kib = 0;
};

// Why no sandbox can be made here, in one line; empty where one can.
std::string why_no_sandbox();

std::string tmp_of(const Node& node);
bool make_folders(Node& node);
// Starts the box. The agent's report of being ready comes later, through `loop`.
bool open_sandbox(Lab& lab, Node& node);
// Ends everything in it at once; `sandbox_closed` follows when nothing is left.
void cut_power(Node& node);
void tell_agent(Node& node, char kind, View content = {});
void tell_agent(Node& node, char kind, std::string_view content);
void start_daemon(Lab& lab, Node& node);
void signal_daemon(Node& node, int number);
void measure_memory(Lab& lab);
// The last line that bubblewrap wrote, if any.
std::string last_words(const Node& node);
// Called when bubblewrap has ended.
void sandbox_closed(Lab& lab, Node& node);

}  // namespace lab

#endif
