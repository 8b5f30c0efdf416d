// A unit that joins a base, and a base that takes a unit in, from main() to its end, with the n-th
// call to the system or a library failing, for every n. One wait for an event is one second.
#include <cjson/cJSON.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

#include <csignal>

#include "core/timer_list.h"
#include "discovery/candidate_table.h"
#include "support/daemon_test.h"
#include "support/event_port.h"
#include "support/fixed_key.h"
#include "support/heap_in_use.h"

int vorlent_main();

namespace {

using Settings = std::map<std::string, std::string>;
using Action = std::function<void()>;

long calls_left = 0;  // until the call that fails; 0: none does
std::string failed_call;
std::map<int, Action> events;  // what happens in which second
int second = 0;
std::vector<long> waits;  // between what is tried again, in seconds

bool fails(const char* call) {
  if (calls_left == 0 || --calls_left > 0) {
    return false;
  }
  failed_call = call;
  errno = ENOMEM;
  return true;
}

// What `action` calls does neither count nor fail.
void aside(const Action& action) {
  const long left = std::exchange(calls_left, 0);
  action();
  calls_left = left;
}

}  // namespace

extern "C" {

// Every argument and result is one word in the calling conventions that the tests run on, so one
// signature serves them all.
#define FAILING(name, failure)                                                 \
  long __real_##name(long, long, long, long, long, long, long);                \
  long __wrap_##name(long a, long b, long c, long d, long e, long f, long g) { \
    return fails(#name) ? (failure) : __real_##name(a, b, c, d, e, f, g);      \
  }
// clang-format off
FAILING(socket, -1) FAILING(setsockopt, -1) FAILING(bind, -1) FAILING(recv, -1)
FAILING(epoll_create1, -1) FAILING(epoll_ctl, -1) FAILING(read, -1)
FAILING(open, -1) FAILING(unlink, -1) FAILING(BIO_new_file, 0)
FAILING(BIO_new_mem_buf, 0) FAILING(BN_new, 0) FAILING(BN_set_word, 0) FAILING(RSA_new, 0)
FAILING(RSA_public_encrypt, -1) FAILING(RSA_private_decrypt, -1)
FAILING(PEM_write_bio_RSAPrivateKey, 0) FAILING(PEM_write_bio_RSA_PUBKEY, 0)
FAILING(PEM_read_bio_RSAPrivateKey, 0) FAILING(PEM_read_bio_RSA_PUBKEY, 0)
    // clang-format on

    // Half of what is asked for, as any write may.
    ssize_t __real_write(int fd, const void* bytes, size_t count);
ssize_t __wrap_write(int fd, const void* bytes, size_t count) {
  return fails("write") ? -1 : __real_write(fd, bytes, (count + 1) / 2);
}

int __real_epoll_wait(int epoll, epoll_event* ready, int most, int timeout);
int __wrap_epoll_wait(int epoll, epoll_event* ready, int most, int timeout) {
  EXPECT_EQ(timeout, 0) << "the loop waits for events, and for nothing else";
  return fails("epoll_wait") ? -1 : __real_epoll_wait(epoll, ready, most, timeout);
}

int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* /*left*/) {
  EXPECT_TRUE(clock == CLOCK_MONOTONIC && flags == 0 && time->tv_nsec == 0);
  waits.push_back(time->tv_sec);
  return 0;
}

int __wrap_RSA_generate_key_ex(RSA* key, int /*bits*/, BIGNUM* /*e*/, BN_GENCB* /*progress*/) {
  const bool failed = fails("RSA_generate_key_ex");
  aside([&] { set_fixed_key(key); });
  return failed ? 0 : 1;
}

int __wrap_RSA_check_key(const RSA* /*key*/) {
  return fails("RSA_check_key") ? -1 : 1;
}

int __real_select(int count, fd_set* in, fd_set* out, fd_set* other, timeval* timeout);
int __wrap_select(int count, fd_set* in, fd_set* out, fd_set* other, timeval* timeout) {
  if (count > 0) {
    move_clock(1);
    const auto event = events.find(++second);
    aside(event == events.end() ? [] {} : event->second);
  }
  *timeout = timeval{};
  return fails("select") ? -1 : __real_select(count, in, out, other, timeout);
}

}  // extern "C"

namespace {

Action arrives(std::uint32_t type, const air::Bytes& data) {
  return [=] { send_to_event_port(air::event(type, air::UNIT, data)); };
}

Action frame(std::uint16_t attr_id, const air::Bytes& data) {
  return arrives(59, air::action_frame(attr_id, data));
}

void end() {
  platform().nvram["mesh_role_manual"] = "uncfg";
}

class FailingCallsTest : public DaemonTest {
 protected:
  FailingCallsTest() {
    cJSON_Hooks hooks{
        .malloc_fn = [](size_t size) { return fails("malloc") ? nullptr : malloc(size); },
        .free_fn = free};
    cJSON_InitHooks(&hooks);
  }
  ~FailingCallsTest() override { cJSON_InitHooks(nullptr); }

  // One process from its start to its end, with the n-th call failing. Returns main's result.
  static int live(const Settings& nvram, long n) {
    platform() = FakePlatform{};
    platform().fails = fails;
    platform().nvram = nvram;
    platform().candidate_satellites = {air::UNIT_TEXT};
    new_process();
    second = 0;
    failed_call.clear();
    calls_left = n;
    const int result = vorlent_main();
    calls_left = 0;
    reset_timer_list();
    close(epoll_fd);
    printed();
    return result;
  }

  // True for an orderly end, which a process that gets no socket or cannot detach comes to at once.
  static bool ended_well(int result) {
    return result == 0
               ? failed_call == "daemon" || platform().journal.back() == "$ vexo_service restart"
               : platform().log.find("Unable to " +
                                     (failed_call == "socket" ? "create" : failed_call)) !=
                     std::string::npos;
  }

  // Whatever is not given back takes 16 bytes and more of the heap, and more each time. Sanitizers,
  // which have a heap of their own, look for themselves.
  static void keeps_nothing(const Settings& nvram) {
    constexpr std::size_t LIVES = 200;
    const std::size_t memory = heap_in_use();
    for (std::size_t i = 0; memory != 0 && i < LIVES; ++i) {
      live(nvram, 0);
    }
    EXPECT_LT(heap_in_use(), memory + LIVES * 15) << "left behind by " << LIVES << " lives";
  }

  // Lives with each call failing once, and after each without a failure: `works` tells whether the
  // life before did all it should.
  static void fail_each_call(const Settings& nvram, const std::function<bool()>& works) {
    live(nvram, 0);
    const int descriptors = open_descriptors();
    const std::size_t memory = heap_in_use();
    for (long n = 1; works(); ++n) {
      EXPECT_TRUE(ended_well(live(nvram, n))) << n << ' ' << failed_call;
      if (failed_call.empty()) {
        EXPECT_LT(heap_in_use(), memory + 30000) << "left behind by " << 2 * n << " lives";
        keeps_nothing(nvram);
        return;
      }
      EXPECT_TRUE(works() ||
                  (failed_call.rfind("epoll", 0) != 0 && failed_call.rfind("timer", 0) != 0))
          << n << ": no timers";
      EXPECT_EQ(open_descriptors(), descriptors) << n << ' ' << failed_call;
      live(nvram, 0);
    }
    ADD_FAILURE() << "a life without a failure does not do what it should";
  }
};

TEST_F(FailingCallsTest, AUnitJoinsItsBaseAfterAnyFailure) {
  const air::Bytes content = air::credentials("backnet", "pa55word", "aes", "psk2");
  events = {{1, arrives(69, air::scan_data({.elements = air::element(1)}))},
            {8, frame(0x1001, air::from_text(peer_key().public_pem))},
            {9, frame(0x1004, {})},
            {10, frame(0x1003, encrypt_for(peer_key().public_pem, content))},
            {11, end}};
  fail_each_call({{"blank_state", "1"}}, [] {
    return count_commands("wl actframe " + air::BASE_BSSID + " 0409027e911000") == 2 &&
           platform().nvram["wl1_ssid"] == "backnet" &&
           platform().journal.back() == "$ vexo_service restart";
  });
}

TEST_F(FailingCallsTest, ABaseTakesAUnitInAfterAnyFailure) {
  static std::string list;
  const air::Bytes content = air::sat_key_content(peer_key().public_pem);
  events = {{1, [] { platform().nvram["onboarding_soap_active"] = "1"; }},
            {2, arrives(44, air::probe_data(air::element(2)))},
            {3, frame(0x1000, air::element(2))},
            {4, frame(0x1002, encrypt_for(peer_key().public_pem, content))},
            {5, [] { (void)raise(SIGUSR2), list = read_file(CANDIDATE_FILE); }},
            {6, [] { (void)raise(SIGUSR1); }},
            {7, [] { move_clock(53); }},
            {9, end}};
  const Settings base = {{"multiap_mode", "3"}, {"enable_mesh_mode", "1"}, {"bh_ssid", "backnet"}};
  fail_each_call(base, [] {
    const std::string to = "wl actframe " + air::UNIT_TEXT + " 0409027e91";
    return count_commands(to + "100101c3") == 1 && count_commands(to + "1004") == 2 &&
           count_commands(to + "10030100") == 1 && !list.empty() && list.back() == '}' &&
           count_commands("wl del_ie 3 ") == 1;
  });
}

TEST_F(FailingCallsTest, ASaveThatIsRefusedDelaysTheRestartByTenSeconds) {
  events = {{1, [] {
               platform().fails = [](const std::string& call) { return call == "save"; };
               end();
             }}};
  waits.clear();
  EXPECT_TRUE(ended_well(live({{"blank_state", "1"}}, 0)));
  EXPECT_EQ(waits, std::vector<long>(10, 1));
}

}  // namespace
