#include "harness.h"

#include <fcntl.h>
#include <openssl/rsa.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/event_socket.h"
#include "core/mode_table.h"
#include "core/timer_list.h"
#include "discovery/candidate_table.h"
#include "discovery/probe_scan.h"
#include "role/mode_entry.h"
#include "role/role_monitor.h"
#include "support/fake_platform.h"
#include "support/fixed_key.h"

extern "C" int __real_system(const char* command);
extern "C" int __real__Z11run_commandPKc(const char* command);

namespace {

int air_socket[2] = {-1, -1};
int own_descriptors = 0;

int open_descriptors() {
  int count = 0;
  for (int fd = 0; fd < 64; ++fd) {
    count += fcntl(fd, F_GETFD) == -1 ? 0 : 1;
  }
  return count;
}

void start_process() {
  reset_timer_list();
  if (epoll_fd >= 0) {
    close(epoll_fd);
  }
  reset_clock();
  reset_context();
  candidate_table.fill(CandidateEntry{});
  epoll_fd = init_epoll();
  own_descriptors = open_descriptors();
}

// Once: silence and the air.
void prepare() {
  (void)!freopen("/dev/null", "w", stdout);
  require(socketpair(AF_UNIX, SOCK_DGRAM, 0, air_socket) == 0, "a socket pair");
}

template <std::size_t N>
bool ends(const std::array<char, N>& text) {
  return memchr(text.data(), 0, N) != nullptr;
}

void check_row(const CandidateEntry& row, bool used) {
  static const CandidateEntry EMPTY{};
  if (!used) {
    require(memcmp(&row, &EMPTY, sizeof row) == 0, "rows behind the count are zero");
    return;
  }
  require(strnlen(row.mac.data(), row.mac.size()) == 17, "a row has a MAC text");
  require(ends(row.pub_key) && row.key_len < row.pub_key.size(), "a row's key is a text");
  require(strnlen(row.pub_key.data(), row.pub_key.size()) <= row.key_len, "by its length");
}

void check_invariants() {
  require(mode_row(context.cur_mode) != nullptr, "the mode is one");
  require(context.candidate_count >= 0 && context.candidate_count <= CANDIDATE_CAPACITY, "count");
  for (int i = 0; i <= CANDIDATE_CAPACITY; ++i) {
    check_row(candidate_table[static_cast<std::size_t>(i)], i < context.candidate_count);
  }
  const TargetBssInfo& target = context.target;
  require(ends(target.bssid) && ends(target.base_pub_key) && ends(target.bh_ssid) &&
              ends(target.bh_password) && ends(target.bh_crypto) && ends(target.bh_akm),
          "texts end");
  require(context.act_timer_fd <= 0 || context.cur_mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE,
          "a handshake timer lives in the handshake only");
  const int timers = (mode_timer_fd > 0 ? 1 : 0) + (context.act_timer_fd > 0 ? 1 : 0) +
                     (context.onboarding_active != 0 ? 1 : 0);
  require(open_descriptors() == own_descriptors + timers, "a descriptor for each timer");
  platform().journal.clear();
  platform().log.clear();
}

}  // namespace

void require(bool holds, const char* what) {
  if (!holds) {
    (void)fprintf(stderr, "does not hold: %s\n", what);
    abort();
  }
}

void boot(OnboardMode mode) {
  if (air_socket[0] == -1) {
    prepare();
  }
  platform() = FakePlatform{};
  gg_swap = false;
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

void receive(const air::Bytes& datagram) {
  (void)!send(air_socket[0], datagram.data(), datagram.size(), 0);
  timeval timeout{};
  event_recvr(context.cur_mode, air_socket[1], timeout);
  check_invariants();
  take_turn();
}

void take_turn() {
  dut_role_monitor();
  dispatch_timers(epoll_fd, 0);
  check_invariants();
}

air::Bytes sealed(ByteView plain) {
  air::Bytes cipher;
  for (std::size_t at = 0; at < plain.size(); at += 256) {
    std::array<std::uint8_t, 256> block{};
    const ByteView part = clipped(plain, at, 256);
    std::copy(part.begin(), part.end(), block.begin());
    air::Bytes result(256, 0xFF);  // stays above the modulus where the block is
    RSA_public_encrypt(256, block.data(), result.data(), fixed_key(), RSA_NO_PADDING);
    cipher = cipher + result;
  }
  return cipher;
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
int __wrap__Z11run_commandPKc(const char* command) {
  const bool scan = strcmp(command, "wl escanresults > /tmp/escanresults_log") == 0;
  require(scan || std::string(command).find_first_not_of(
                      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 :/._") ==
                      std::string::npos,
          "a command is plain");
  const int status = __real__Z11run_commandPKc(command);
  require(status == 0, "no command is refused");
  return status;
}

// The engine runs itself through the shell to merge corpora, while no daemon has been started yet.
int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  platform().on_command = [](const std::string& command) {
    platform().command_status = __real_system(command.c_str());
  };
  return 0;
}

}  // extern "C"
