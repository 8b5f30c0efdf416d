#include "support/bench.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <utility>

#include "core/context.h"
#include "core/log.h"
#include "core/timer_list.h"
#include "shared_debug_log.h"

namespace {

std::atomic<std::size_t> allocation_count{0};
Apart apart{};
bool commands_run = true;

template <typename Call>
auto timed_apart(Call call) {
  const double begin = cpu_seconds();
  const auto result = call();
  apart.keys += cpu_seconds() - begin;
  return result;
}

}  // namespace

extern "C" {

// The C library's allocator, counted.
void* __libc_malloc(std::size_t size);
void* malloc(std::size_t size) {
  allocation_count.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}

int __real_system(const char* command);
int __wrap_system(const char* command) {
  if (!commands_run) {
    return 0;
  }
  const auto begin = std::chrono::steady_clock::now();
  const int result = __real_system(command);
  apart.commands += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return result;
}

int __real_RSA_check_key(const RSA* key);
int __wrap_RSA_check_key(const RSA* key) {
  return timed_apart([&] { return __real_RSA_check_key(key); });
}

RSA* __real_PEM_read_bio_RSAPrivateKey(BIO* bio, RSA** out, pem_password_cb* cb, void* user);
RSA* __wrap_PEM_read_bio_RSAPrivateKey(BIO* bio, RSA** out, pem_password_cb* cb, void* user) {
  return timed_apart([&] { return __real_PEM_read_bio_RSAPrivateKey(bio, out, cb, user); });
}

RSA* __real_PEM_read_bio_RSA_PUBKEY(BIO* bio, RSA** out, pem_password_cb* cb, void* user);
RSA* __wrap_PEM_read_bio_RSA_PUBKEY(BIO* bio, RSA** out, pem_password_cb* cb, void* user) {
  return timed_apart([&] { return __real_PEM_read_bio_RSA_PUBKEY(bio, out, cb, user); });
}

}  // extern "C"

double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double allocations() {
  return static_cast<double>(allocation_count);
}

Apart take_time_apart() {
  return std::exchange(apart, Apart{});
}

void run_commands(bool run) {
  commands_run = run;
}

Unprinted::Unprinted() {
  cookie_io_functions_t nowhere{};
  nowhere.write = [](void*, const char*, std::size_t size) { return static_cast<ssize_t>(size); };
  kept_ = std::exchange(stdout, fopencookie(nullptr, "w", nowhere));
}

Unprinted::~Unprinted() {
  (void)fclose(std::exchange(stdout, kept_));
}

air::Bytes beacon_elements(std::size_t count, const air::Bytes& last) {
  using air::operator+;
  constexpr std::size_t SIZE = 300;
  const air::Bytes vendor = air::ie(0xDD, air::from_hex("0050f2020101800003a4000027a40000"));
  const air::Bytes ends = vendor + vendor + last;
  const std::size_t bodies = SIZE - ends.size() - 2 * (count - 3);
  air::Bytes elements;
  for (std::size_t i = 0; i < count - 3; ++i) {
    const std::size_t from = bodies * i / (count - 3);
    const std::size_t to = bodies * (i + 1) / (count - 3);
    elements = elements + air::ie(static_cast<std::uint8_t>(i), air::Bytes(to - from, 0x55));
  }
  return elements + ends;
}

namespace {

// As in the field: the daemon's log has its bound, and the store holds a thousand settings.
void prepare_platform() {
  shared_debug_log_init(LOG_IDENTITY, LOG_FILE, 1 << 20);
  std::ofstream nvram("/tmp/vexo_nvram");
  for (int i = 0; i < 1000; ++i) {
    nvram << "setting_" << i << "=a value of usual length\n";
  }
}

}  // namespace

// Results go where standard output led; what the daemon prints goes to /dev/null.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  std::ofstream results("/dev/fd/" + std::to_string(dup(STDOUT_FILENO)), std::ios::app);
  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  (void)setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  benchmark::ConsoleReporter console(benchmark::ConsoleReporter::OO_Tabular);
  console.SetOutputStream(&results);
  epoll_fd = init_epoll();
  prepare_platform();
  benchmark::RunSpecifiedBenchmarks(&console);
  return 0;
}
