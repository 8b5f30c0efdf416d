#include "whole_daemon.h"

#include <openssl/pem.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "core/event_socket.h"
#include "core/mode_table.h"
#include "core/timer_list.h"
#include "crypto/rsa_helpers.h"
#include "discovery/candidate_table.h"
#include "fuzz.h"
#include "role/mode_entry.h"
#include "role/role_monitor.h"
#include "support/fake_platform.h"

namespace {

int air_socket[2] = {-1, -1};
RSA* own_key = nullptr;

template <std::size_t N>
bool terminated(const std::array<char, N>& field) {
  return std::find(field.begin(), field.end(), '\0') != field.end();
}

void write_key_files() {
  BIO* pri = BIO_new_file(RSA_PRI_FILE, "w");
  BIO* pub = BIO_new_file(RSA_PUB_FILE, "w");
  PEM_write_bio_RSAPrivateKey(pri, own_key, nullptr, nullptr, 0, nullptr, nullptr);
  PEM_write_bio_RSA_PUBKEY(pub, own_key);
  BIO_free(pri);
  BIO_free(pub);
}

void set_up_once() {
  if (own_key != nullptr) {
    return;
  }
  require(freopen("/dev/null", "w", stdout) != nullptr, "standard output can be closed");
  require(socketpair(AF_UNIX, SOCK_DGRAM, 0, air_socket) == 0, "a socket pair");
  own_key = RSA_new();
  BIGNUM* exponent = BN_new();
  BN_set_word(exponent, RSA_F4);
  require(RSA_generate_key_ex(own_key, 2048, exponent, nullptr) == 1, "a key");
  BN_free(exponent);
}

void enter(OnboardMode mode) {
  reset_timer_list();
  if (epoll_fd >= 0) {
    close(epoll_fd);
  }
  reset_context();
  candidate_table.fill(CandidateEntry{});
  epoll_fd = init_epoll();
  context.cur_mode = mode;
  context.target_role = mode;
  enter_cur_mode();
}

void restart_if_asked() {
  if (context.need_restart != 0) {
    context.cur_mode = ONBOARD_MODE_UNCONFIGURED;
    load_cur_mode();
    enter(context.cur_mode);
  }
}

long descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

}  // namespace

extern "C" {
// NOLINTNEXTLINE: the names are the linker's
void __wrap__Z16rsa_gen_key_pairv() {
  write_key_files();
}
int __wrap_RSA_check_key(const RSA* /*key*/) {
  return 1;
}
}

void start_daemon(OnboardMode mode) {
  set_up_once();
  platform() = FakePlatform{};
  platform().nvram = {{"blank_state", "1"}, {"bh_ssid", "net"}, {"bh_wpa_psk", "phrase"}};
  reset_clock();
  enter(mode);
}

void deliver(const air::Bytes& datagram) {
  if (datagram.empty() || send(air_socket[0], datagram.data(), datagram.size(), 0) < 0) {
    return;
  }
  timeval none{};
  event_recvr(context.cur_mode, air_socket[1], none);
  restart_if_asked();
}

air::Bytes seal(air::Bytes plain) {
  plain.resize(std::max<std::size_t>(1, (plain.size() + 255) / 256) * 256);
  air::Bytes cipher(plain.size());
  for (std::size_t at = 0; at < plain.size(); at += 256) {
    plain[at] &= 0x7fU;  // below the modulus
    RSA_public_encrypt(256, &plain[at], &cipher[at], own_key, RSA_NO_PADDING);
  }
  return cipher;
}

void pass_seconds(int seconds) {
  for (int i = 0; i < seconds; ++i) {
    move_clock(1);
    dut_role_monitor();
    dispatch_timers(epoll_fd, 0);
    restart_if_asked();
  }
}

void check_invariants() {
  require(mode_row(context.cur_mode) != nullptr, "the mode is one");
  require(context.candidate_count >= 0 && context.candidate_count <= 15, "the table's bounds");
  for (std::size_t i = 0; i < candidate_table.size(); ++i) {
    const CandidateEntry& entry = candidate_table[i];
    const bool used = i < static_cast<std::size_t>(context.candidate_count);
    require(used == (entry.mac[0] != '\0'), "rows in use stand in front");
    require(entry.mac[17] == '\0' && entry.pub_key.back() == '\0', "texts of a row end");
    require(used || (entry.key_len == 0 && entry.stage == 0), "rows not in use are empty");
  }
  const TargetBssInfo& target = context.target;
  require(terminated(target.bssid) && terminated(target.base_pub_key), "texts of the target end");
  require(terminated(target.bh_ssid) && terminated(target.bh_password) &&
              terminated(target.bh_crypto) && terminated(target.bh_akm),
          "credentials end");
  for (const std::string& command : commands()) {
    require(command.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                      "0123456789 :/._>") == std::string::npos,
            "a command holds no shell syntax");
  }
  static long base = descriptors();
  base = std::min(base, descriptors());
  require(descriptors() <= base + 4, "no descriptor leaks");
  platform().journal.clear();
  platform().log.clear();
}
