// A unit's box: processes, loopback, /tmp and PATH of its own, made by bubblewrap as an ordinary
// user. The first process inside is the agent; /tmp is a folder of the host, so that the laboratory
// looks at the unit's NVRAM without going in.
//
// Inside, /run/bin holds the daemon and the unit's programs and is the head of PATH; /run/lab holds
// the command socket, the daemon's standard output and its debug log, which outlive a power cut.
#ifndef LAB_SANDBOX_H
#define LAB_SANDBOX_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "air/wl.h"
#include "base/box_files.h"

namespace lab {

// What all boxes of a run have in common.
struct BoxKit {
  std::string daemon;  // path of the daemon's binary
  std::string tools;   // folder of this program and its companions
  std::string work;    // the run's folder, removed at its end
  bool time_lapse = false;
  std::string keys;  // store of ready key pairs; empty: the daemons make theirs
  int pairs = 0;     // that it holds
};

// The daemon's debug log, in the unit's folder.
inline constexpr char kLog[] = "lab/log/vorlent_dbg.log";

struct Sandbox {
  std::string folder;  // on the host
  pid_t pid = -1;      // of bubblewrap
  int agent = -1;      // socket to the agent
  int commands = -1;   // socket that the unit's programs connect to
  bool daemon_runs = false;
  bool frozen = false;  // the daemon stands still
  long peak_kib = 0;
  int first_pair = 0;    // of the store, for its daemon
  UniqueFd log;          // the debug log, where it is followed
  std::string log_line;  // its last one, not yet ended
  // What comes out of it.
  std::function<void()> on_ready;
  std::function<void(const std::string& how)> on_daemon_ended;
  std::function<CommandResult(const std::vector<std::string>& words)> on_command;
};

// Why no sandbox can be made here, in one line; empty where one can.
std::string why_no_sandbox();

// The folder of the unit of that name.
std::string box_folder(const BoxKit& kit, const std::string& name);
std::string tmp_of(const Sandbox& box);
bool make_folders(const Sandbox& box);
// Starts the box; that it is ready comes later, through `loop`.
bool open_sandbox(Loop& loop, const BoxKit& kit, Sandbox& box);
// Ends everything in it at once; `sandbox_closed` follows when nothing is left.
void cut_power(Sandbox& box);
void deliver(Sandbox& box, View datagram);
void start_daemon(const BoxKit& kit, Sandbox& box);
// How many ready key pairs its daemons have taken.
long pairs_taken(const Sandbox& box);
void signal_daemon(Sandbox& box, int number);
// Brings `peak_kib` up to date, in a moment.
void measure_memory(Sandbox& box);
// The last line that bubblewrap wrote, if any.
std::string last_words(const Sandbox& box);
// Called when bubblewrap has ended.
void sandbox_closed(Loop& loop, Sandbox& box);

}  // namespace lab

#endif
