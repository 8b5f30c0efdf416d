// Start-up, the main loop and the orderly end of the daemon.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "core/context.h"
#include "core/event_socket.h"
#include "core/inherited_state.h"
#include "core/log.h"
#include "core/nvram.h"
#include "core/shell.h"
#include "core/sign_of_life.h"
#include "core/signals.h"
#include "core/timer_list.h"
#include "handshake/base_side.h"
#include "own_file.h"
#include "role/mode_detection.h"
#include "role/role_change.h"
#include "role/role_monitor.h"
#include "shared_debug_log.h"

namespace {

constexpr const char* AS_SIG_HANDLER = "sig_handler";
constexpr const char* AS_MAIN = "main";

constexpr int LOG_BYTES_MAX = 1048576;

void serve_signal(int signo) {
  if (signo == SIGUSR2) {
    ONBOARD_LOG_AS(AS_SIG_HANDLER, "Got SIGUSR2 to extend all candidate's timer...\n");
    extend_all_candidates();
  } else if (signo == SIGUSR1) {
    ONBOARD_LOG_AS(AS_SIG_HANDLER, "Got SIGUSR1 to push BH credential.\n");
    act_op_1003_sender();
  } else {
    ONBOARD_LOG_AS(AS_SIG_HANDLER, "[Unknown signo] %d\n", signo);
  }
}

// SIGUSR2 before SIGUSR1: the push empties the table whose stations the former speaks to.
void serve_signals() {
  static_assert(SIGUSR2 > SIGUSR1);
  for (int signo = NSIG - 1; signo > 0; --signo) {
    if (take_pending_signal(signo)) {
      serve_signal(signo);
    }
  }
}

// Writes the number of this process into the file that VORLENT_PID_FILE names, if it does: a
// service manager may want it.
void write_pid_file() {
  const char* path = getenv("VORLENT_PID_FILE");
  if (path == nullptr) {
    return;
  }
  const UniqueFd file = create_own_file(path, 0644);
  if (file.open()) {
    (void)dprintf(file.get(), "%ld\n", static_cast<long>(getpid()));
  }
}

// Everything up to the main loop. Returns the exit status and says through `ready` whether the loop
// shall run. The port comes before the process detaches, so that whoever starts a second daemon is
// told by its exit status; the number of the process comes after, since detaching changes it.
int start(int& event_fd, bool& ready) {
  epoll_fd = init_epoll();
  const int error = open_eventfd(event_fd);
  if (error != 0) {
    return error;
  }
  if (daemon(1, 1) == -1) {
    ONBOARD_LOG_AS(AS_MAIN, "err from daemonize.\n");
    return 0;
  }
  write_pid_file();
  shared_debug_log_init(LOG_IDENTITY, LOG_FILE, LOG_BYTES_MAX);
  install_signal_handlers();
  load_cur_mode();
  enter_cur_mode();
  ready = true;
  return 0;
}

void turn(int event_fd) {
  notify_alive();
  timeval timeout{.tv_sec = 1, .tv_usec = 0};
  event_recvr(context.cur_mode, event_fd, timeout);
  serve_signals();
  if (epoll_fd == -1 && may_ask_again()) {
    epoll_fd = init_epoll();  // refused at the start; the role monitor asks for the timers again
  }
  dut_role_monitor();
  dispatch_timers(epoll_fd);
  serve_signals();
}

// What the unit has just been told, credentials included, is lost with a restart that comes before
// the save: a disk that is full may have room in a moment.
void save_before_restart() {
  constexpr int RETRIES = 10;
  for (int i = 0; !nvram_save() && i < RETRIES; ++i) {
    timespec second{.tv_sec = 1, .tv_nsec = 0};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &second, &second) == EINTR) {
    }
  }
}

void stop(int& event_fd) {
  close_eventfd(event_fd);  // before the restart, which starts a daemon that wants the port
  if (context.need_restart != 0) {
    save_before_restart();
    run_command("vexo_service restart");
  }
  ONBOARD_LOG_AS(AS_MAIN, "init failed, cleanup.\n");
}

}  // namespace

int main() {
  hold_signals_back();
  shed_inherited_state();
  survive_failing_writes();
  (void)setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  int event_fd = -1;
  bool ready = false;
  const int status = start(event_fd, ready);
  if (ready) {
    do {
      turn(event_fd);
    } while (context.need_restart == 0);
  }
  stop(event_fd);
  return status;
}
