#include "node/supervisor.h"

#include <signal.h>

#include "node/mesh.h"

namespace lab {

namespace {

constexpr Time kPause = 1s;  // until a daemon that ended by itself is started again

void start(Mesh& mesh, Node& node) {
  Supervisor& supervisor = node.supervisor;
  ++supervisor.starts;
  supervisor.restart_wanted = false;
  supervisor.end_expected = false;
  publish(mesh, node, DaemonStarted{});
  start_daemon(mesh.kit, node.sandbox);
  // Where the mode's key does not change, nothing tells of the entry; by then it is over.
  mesh.loop.after_real(200ms, [&mesh, &node, starts = supervisor.starts] {
    if (node.supervisor.starts == starts && node.platform.mode == kOff) {
      node.nvram.own_stamp.clear();
      nvram_changed(mesh, node);
    }
  });
}

// A restart ends the daemon that still runs: it is given time to go by itself, then told to.
void end_daemon(Mesh& mesh, Node& node) {
  const auto unless_gone = [&mesh, &node](Time span, int number) {
    mesh.loop.after_real(
        span, [&node, number, starts = node.supervisor.starts, epoch = node.radio.epoch] {
          if (node.supervisor.starts == starts && node.radio.epoch == epoch &&
              node.sandbox.daemon_runs) {
            signal_daemon(node.sandbox, number);
          }
        });
  };
  unless_gone(2s, SIGTERM);
  unless_gone(5s, SIGKILL);
}

}  // namespace

void box_ready(Mesh& mesh, Node& node) {
  node.owner.last_stir = mesh.loop.clock.now();
  start(mesh, node);
}

void daemon_ended(Mesh& mesh, Node& node, const std::string& how) {
  Supervisor& supervisor = node.supervisor;
  const bool wanted = supervisor.restart_wanted;
  const bool crashed = how.rfind("signal", 0) == 0 && !wanted && !supervisor.end_expected;
  publish(mesh, node, DaemonEnded{how, crashed});
  if (node.platform.mode != kOff || wanted || supervisor.end_expected) {
    supervisor.useless_starts = 0;
  } else if (++supervisor.useless_starts == 3) {
    fail(mesh, "the daemon of " + node.name + " ended three times before it was in any mode (" +
                   how + "); is " + mesh.kit.daemon + " the daemon?");
  }
  change_mode(mesh, node, kOff);
  owner_forgets(node);
  const std::uint64_t starts = supervisor.starts;
  mesh.loop.after(wanted ? 0s : kPause, [&mesh, &node, starts, epoch = node.radio.epoch] {
    if (node.supervisor.starts == starts && node.radio.epoch == epoch && is_powered(node)) {
      start(mesh, node);
    }
  });
}

void request_restart(Mesh& mesh, Node& node) {
  node.supervisor.restart_wanted = true;
  if (node.sandbox.daemon_runs) {
    end_daemon(mesh, node);
  } else {
    start(mesh, node);
  }
}

void kill_daemon(Node& node) {
  node.supervisor.end_expected = true;
  signal_daemon(node.sandbox, SIGKILL);
}

}  // namespace lab
