#include "support/daemon_test.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "core/event_socket.h"
#include "core/timer_list.h"
#include "crypto/rsa_helpers.h"
#include "discovery/candidate_table.h"
#include "discovery/probe_scan.h"
#include "role/mode_entry.h"
#include "role/role_monitor.h"

namespace {

int captured = -1;  // what stands on standard output
int console = -1;   // what stood there before
off_t seen = 0;     // of it, by printed()

std::string captured_from(off_t offset) {
  (void)fflush(stdout);
  const off_t size = lseek(captured, 0, SEEK_END);
  std::string text(static_cast<std::size_t>(size - offset), '\0');
  (void)!pread(captured, text.data(), text.size(), offset);
  seen = size;
  return text;
}

}  // namespace

DaemonTest::DaemonTest() {
  platform() = FakePlatform{};
  fail_timer_call(0);
  new_process();
  for (const char* file : {RSA_PRI_FILE, RSA_PUB_FILE, CANDIDATE_FILE}) {
    unlink(file);
  }
  epoll_fd = init_epoll();
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, air_socket_), 0);
  seen = 0;
  (void)fflush(stdout);
  captured = memfd_create("stdout", MFD_CLOEXEC);
  console = dup(STDOUT_FILENO);
  dup2(captured, STDOUT_FILENO);
}

DaemonTest::~DaemonTest() {
  const std::string output = captured_from(0);
  dup2(console, STDOUT_FILENO);
  if (HasFailure()) {
    std::cerr << output;  // the failures' own text was captured with it
  }
  reset_timer_list();
  for (const int fd : {epoll_fd, air_socket_[0], air_socket_[1], captured, console}) {
    close(fd);
  }
}

void DaemonTest::new_process() {
  reset_timer_list();
  reset_clock();
  reset_context();
  candidate_table.fill(CandidateEntry{});
  gg_swap = false;
}

void DaemonTest::starts_in(OnboardMode mode) {
  clear_timer();
  context.cur_mode = mode;
  context.target_role = mode;
  enter_cur_mode();
  forget();
}

int DaemonTest::receives(const air::Bytes& datagram) {
  EXPECT_EQ(send(air_socket_[0], datagram.data(), datagram.size(), 0),
            static_cast<ssize_t>(datagram.size()));
  timeval timeout{};
  return event_recvr(context.cur_mode, air_socket_[1], timeout);
}

int DaemonTest::hears_probe_from(const air::Mac& station, const air::Bytes& elements) {
  return receives(air::event(44, station, air::probe_data(elements)));
}

int DaemonTest::air_carries(std::uint16_t attr_id, const air::Bytes& data, const air::Mac& from) {
  return receives(air::event(59, from, air::action_frame(attr_id, data)));
}

void DaemonTest::pass(int seconds) {
  for (int i = 0; i < seconds; ++i) {
    move_clock(1);
    dut_role_monitor();
    dispatch_timers(epoll_fd, 0);
  }
}

std::string DaemonTest::printed() {
  return captured_from(seen);
}

void DaemonTest::forget() {
  platform().log.clear();
  platform().journal.clear();
  printed();
}

namespace {

RSA* key_from(const std::string& pem, bool is_private) {
  BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  RSA* key = is_private ? PEM_read_bio_RSAPrivateKey(bio, nullptr, nullptr, nullptr)
                        : PEM_read_bio_RSA_PUBKEY(bio, nullptr, nullptr, nullptr);
  BIO_free(bio);
  return key;
}

air::Bytes by_blocks(RSA* key, const air::Bytes& in, bool encrypt) {
  air::Bytes out;
  for (std::size_t at = 0; at < in.size() || at == 0; at += 256) {
    air::Bytes block(256);
    std::copy_n(in.begin() + static_cast<std::ptrdiff_t>(at),
                std::min<std::size_t>(256, in.size() - at), block.begin());
    air::Bytes result(256);
    const int done =
        encrypt ? RSA_public_encrypt(256, block.data(), result.data(), key, RSA_NO_PADDING)
                : RSA_private_decrypt(256, block.data(), result.data(), key, RSA_NO_PADDING);
    EXPECT_EQ(done, 256);
    out.insert(out.end(), result.begin(), result.end());
  }
  RSA_free(key);
  return out;
}

std::string drain(BIO* bio) {
  char* text = nullptr;
  const long size = BIO_get_mem_data(bio, &text);
  std::string copy(text, static_cast<std::size_t>(size));
  BIO_free(bio);
  return copy;
}

}  // namespace

air::Bytes encrypt_for(const std::string& public_pem, const air::Bytes& plaintext) {
  return by_blocks(key_from(public_pem, false), plaintext, true);
}

air::Bytes decrypt_with(const std::string& private_pem, const air::Bytes& ciphertext) {
  return by_blocks(key_from(private_pem, true), ciphertext, false);
}

const PeerKey& peer_key(int bits) {
  static std::map<int, PeerKey> keys;
  PeerKey& pair = keys[bits];
  if (pair.public_pem.empty()) {
    BIGNUM* exponent = BN_new();
    BN_set_word(exponent, RSA_F4);
    RSA* key = RSA_new();
    RSA_generate_key_ex(key, bits, exponent, nullptr);
    BIO* pub = BIO_new(BIO_s_mem());
    BIO* pri = BIO_new(BIO_s_mem());
    PEM_write_bio_RSA_PUBKEY(pub, key);
    PEM_write_bio_RSAPrivateKey(pri, key, nullptr, nullptr, 0, nullptr, nullptr);
    pair = PeerKey{.public_pem = drain(pub), .private_pem = drain(pri)};
    RSA_free(key);
    BN_free(exponent);
  }
  return pair;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

int open_descriptors() {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++count;
  }
  return count;
}
