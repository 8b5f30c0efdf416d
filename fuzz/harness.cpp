#include "harness.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "core/event_socket.h"
#include "core/mode_table.h"
#include "core/timer_list.h"
#include "discovery/candidate_table.h"
#include "role/mode_detection.h"
#include "role/role_change.h"
#include "role/role_monitor.h"
#include "support/fake_platform.h"
#include "support/fixed_key.h"
#include "support/peer.h"

namespace {

int air_socket[2] = {-1, -1};
int own_descriptors = 0;

void start_process() {
  close(epoll_fd);
  new_process();
  epoll_fd = init_epoll();
  own_descriptors = open_descriptors();
}

template <std::size_t N>
bool ends(const std::array<char, N>& text) {
  return memchr(text.data(), 0, N) != nullptr;
}

void check_invariants() {
  static const CandidateEntry EMPTY{};
  int slot = 0;
  for (const CandidateEntry& row : candidate_table) {
    const bool used = slot++ < context.candidate_count;
    require(used ? strnlen(row.mac.data(), row.mac.size()) == 17 && ends(row.pub_key) &&
                       strlen(row.pub_key.data()) <= row.key_len
                 : memcmp(&row, &EMPTY, sizeof row) == 0,
            "rows in use are whole, the others are empty");
  }
  require(context.candidate_count >= 0 && context.candidate_count < slot, "one row is never used");
  const TargetBssInfo& target = context.target;
  require(ends(target.bssid) && ends(target.base_pub_key) && ends(target.bh_ssid) &&
              ends(target.bh_password) && ends(target.bh_crypto) && ends(target.bh_akm),
          "texts end");
  const bool handshake = context.cur_mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE;
  require(mode_row(context.cur_mode) != nullptr, "the mode is one");
  require(handshake || context.act_timer_fd <= 0, "a handshake timer lives in the handshake only");
  const int timers = (mode_timer_fd > 0 ? 1 : 0) + (context.act_timer_fd > 0 ? 1 : 0) +
                     (context.onboarding_active != 0 ? 1 : 0);
  require(open_descriptors() == own_descriptors + timers, "a descriptor for each timer");
  platform().journal.clear();
  platform().log.clear();
}

}  // namespace

void require(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "does not hold: " << what << '\n';
    abort();
  }
}

void boot(OnboardMode mode) {
  if (air_socket[0] == -1) {
    (void)!freopen("/dev/null", "w", stdout);
    require(socketpair(AF_UNIX, SOCK_DGRAM, 0, air_socket) == 0, "there is an air");
  }
  platform() = FakePlatform{};
  start_process();
  context.cur_mode = context.target_role = mode;
  enter_cur_mode();
  check_invariants();
}

void restart() {
  start_process();
  load_cur_mode();
  enter_cur_mode();
  check_invariants();
}

void receive(const Bytes& datagram) {
  (void)!send(air_socket[0], datagram.data(), datagram.size(), 0);
  timeval timeout{};
  event_recvr(context.cur_mode, air_socket[1], timeout);
  check_invariants();
  take_turn();
}

void take_turn() {
  dut_role_monitor();
  dispatch_timers(epoll_fd);
  check_invariants();
}

Bytes sealed(ByteView plain) {
  return encrypt_for(peer_key().public_pem, {plain.begin(), plain.end()});
}

extern "C" {

int __wrap_RSA_generate_key_ex(RSA* key, int /*bits*/, BIGNUM* /*e*/, BN_GENCB* /*progress*/) {
  set_fixed_key(key);
  return 1;
}

int __wrap_RSA_check_key(const RSA* /*key*/) {
  return 1;
}

// run_command: its own check is the last line of defence and must never be needed.
int __real__Z11run_commandPKc(const char* command);
int __wrap__Z11run_commandPKc(const char* command) {
  const bool scan = strcmp(command, "wl escanresults > /tmp/escanresults_log") == 0;
  const bool plain = std::string(command).find_first_not_of(
                         "abcdefghijklmnopqrstuvwxyzABCDEF0123456789 :/._") == std::string::npos;
  require((plain || scan) && __real__Z11run_commandPKc(command) == 0, "a command is plain");
  return 0;
}

// The engine runs itself through the shell to merge corpora, while no daemon has been started yet.
int __real_system(const char* command);
int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  platform().shell = [](const std::string& command) { return __real_system(command.c_str()); };
  return 0;
}

}  // extern "C"
