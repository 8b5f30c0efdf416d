// Keeps a unit's daemon running, as a maker's init system does: starts it when the unit is ready,
// and again when it has ended, at once where a restart was asked for and after a second where it
// ended by itself or crashed.
#ifndef LAB_SUPERVISOR_H
#define LAB_SUPERVISOR_H

#include <cstdint>
#include <string>

namespace lab {

struct Mesh;
struct Node;

struct Supervisor {
  std::uint64_t starts = 0;     // of the daemon
  bool restart_wanted = false;  // the daemon or the platform asked for it
  bool end_expected = false;    // the scenario killed it
  int useless_starts = 0;       // in a row, after which it ended before it was in a mode
};

void box_ready(Mesh& mesh, Node& node);
void daemon_ended(Mesh& mesh, Node& node, const std::string& how);
void request_restart(Mesh& mesh, Node& node);
void kill_daemon(Node& node);

}  // namespace lab

#endif
