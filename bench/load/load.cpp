#include "load/load.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "load/receiver.h"

using air::operator+;

namespace {

constexpr int EVENTS_A_SECOND = 3333;
// Parts of them, in turn.
constexpr int STRANGERS = 60;
constexpr int SCANS = 20;
constexpr int FORGED = 20;
// What comes a second in place of others: operations 1000 and 1002.
constexpr int HELLOS = 20;
constexpr int KEYS = 1;

air::Mac mac_of(int station) {
  return {2, 0, 0, 0, 0, static_cast<std::uint8_t>(10 + station)};
}

air::Bytes other_elements() {
  return air::ie(0, air::Bytes(30, 'x')) + air::ie(0xDD, air::Bytes(38, 0x50));
}

std::string base_key() {
  std::stringstream text;
  text << std::ifstream("/tmp/rsa_pub.pem").rdbuf();
  return text.str();
}

air::Bytes encrypted(air::Bytes data, const std::string& pem) {
  BIO* memory = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  RSA* key = PEM_read_bio_RSA_PUBKEY(memory, nullptr, nullptr, nullptr);
  BIO_free(memory);
  if (key == nullptr) {
    die("the base has no key");
  }
  data.resize((data.size() + 255) / 256 * 256);
  air::Bytes out(data.size());
  for (std::size_t at = 0; at < data.size(); at += 256) {
    RSA_public_encrypt(256, &data[at], &out[at], key, RSA_NO_PADDING);
  }
  RSA_free(key);
  return out;
}

struct Outcome {
  double offered, taken, lost, cpu_us_per_event, turns_per_second;
  double resident_kib_before, resident_kib_after;
  std::vector<double> latency_us;  // from an operation 1000 to its answer's command
};

// Sends the mix by its schedule and watches for the answers, one operation 1000 at a time.
class Sender {
 public:
  explicit Sender(Receiver& receiver)
      : receiver_(receiver), hello_event_(operation_1000_of(0)), key_event_(operation_1002_of(0)) {
    common_.insert(common_.end(), STRANGERS, stranger_probe());
    common_.insert(common_.end(), SCANS, stranger_beacon());
    common_.insert(common_.end(), FORGED, forged_frame());
  }

  std::vector<double> run(int events) {
    constexpr double period_ns = 1e9 / EVENTS_A_SECOND;
    const std::int64_t begin = now_ns();
    for (int i = 0; i < events; ++i) {
      wait_until(begin + static_cast<std::int64_t>(i * period_ns));
      note_answer();
      send_number(i);
    }
    usleep(200'000);
    note_answer();
    return latency_us_;
  }

 private:
  static void wait_until(std::int64_t when) {
    const timespec time{.tv_sec = when / 1'000'000'000, .tv_nsec = when % 1'000'000'000};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
  }

  // Whether the i-th event is one of `per_second`.
  static bool is_turn_of(int per_second, int i, int offset) {
    return i % (EVENTS_A_SECOND / per_second) == offset;
  }

  void send_number(int i) {
    if (hello_sent_ns_ == 0 && is_turn_of(HELLOS, i, 7)) {
      hello_sent_ns_ = now_ns();
      send_event(hello_event_);
    } else if (is_turn_of(KEYS, i, 11)) {
      send_event(key_event_);
    } else {
      // In steps that are prime to most sizes, so that the kinds are mixed.
      send_event(common_[static_cast<std::size_t>(i) * 37 % common_.size()]);
    }
  }

  void note_answer() {
    Meter& meter = receiver_.meter();
    for (; seen_ < meter.answers; ++seen_) {
      const Answer& answer = meter.ring[seen_ % meter.ring.size()];
      if (answer.operation == 1001 && hello_sent_ns_ != 0) {
        latency_us_.push_back(1e-3 * static_cast<double>(answer.begin_ns - hello_sent_ns_));
        hello_sent_ns_ = 0;
      }
    }
  }

  Receiver& receiver_;
  air::Bytes hello_event_;
  air::Bytes key_event_;
  std::vector<air::Bytes> common_;
  std::uint64_t seen_ = 0;
  std::int64_t hello_sent_ns_ = 0;
  std::vector<double> latency_us_;
};

Outcome measure(int seconds, Receiver& receiver) {
  send_event(probe_of(0));
  Sender sender(receiver);
  Meter& meter = receiver.meter();
  const int events = EVENTS_A_SECOND * seconds;
  const std::uint64_t taken = meter.taken;
  const std::uint64_t turns = meter.turns;
  const double cpu = receiver.cpu_seconds();
  const std::int64_t begin = now_ns();
  Outcome outcome{};
  outcome.resident_kib_before = static_cast<double>(receiver.status("VmRSS"));
  outcome.latency_us = sender.run(events);
  outcome.offered = events;
  outcome.taken = static_cast<double>(meter.taken - taken);
  outcome.lost = static_cast<double>(lost());
  outcome.cpu_us_per_event = 1e6 * (receiver.cpu_seconds() - cpu) / outcome.taken;
  outcome.turns_per_second =
      1e9 * static_cast<double>(meter.turns - turns) / static_cast<double>(now_ns() - begin);
  outcome.resident_kib_after = static_cast<double>(receiver.status("VmRSS"));
  return outcome;
}

void print_beside(const std::string& name, double daemon, double bare) {
  (void)printf("%s %.6g %.6g %.3g\n", name.c_str(), daemon, bare, bare == 0 ? NAN : daemon / bare);
}

}  // namespace

air::Bytes probe_of(int station) {
  return air::event(44, mac_of(station), air::probe_data(other_elements() + air::element(2)));
}

air::Bytes operation_1000_of(int station) {
  return air::event(59, mac_of(station), air::action_frame(0x1000, air::element(2)));
}

air::Bytes operation_1002_of(int station) {
  const std::string key = base_key();
  return air::event(59, mac_of(station),
                    air::action_frame(0x1002, encrypted(air::sat_key_content(key), key)));
}

air::Bytes stranger_probe() {
  return air::event(44, {6, 1, 2, 3, 4, 5}, air::probe_data(other_elements()));
}

air::Bytes stranger_beacon() {
  air::Scan scan;
  scan.elements = other_elements();
  return air::event(69, scan.bssid, air::scan_data(scan));
}

air::Bytes forged_frame() {
  return air::event(59, {6, 1, 2, 3, 4, 5}, air::action_frame(0x1005, air::Bytes(99, 0xA5)));
}

void run_load(int seconds) {
  Outcome daemon{};
  std::string key;
  std::vector<Trace> traces;
  {
    Receiver receiver(ONBOARD_MODE_BASE);
    key = base_key();
    send_event(probe_of(0));
    receiver.wait_until_handled(1);
    for (const air::Bytes& event :
         {operation_1000_of(0), stranger_probe(), stranger_beacon(), forged_frame()}) {
      traces.push_back(receiver.trace_of(event));
    }
    daemon = measure(seconds, receiver);
  }
  Receiver loop(traces);
  std::ofstream("/tmp/rsa_pub.pem") << key;
  Outcome bare = measure(seconds, loop);
  (void)printf("# name, daemon, bare loop, ratio\n");
  print_beside("offered", daemon.offered, bare.offered);
  print_beside("accepted", daemon.taken, bare.taken);
  print_beside("lost", daemon.lost, bare.lost);
  print_beside("cpu_us_per_event", daemon.cpu_us_per_event, bare.cpu_us_per_event);
  print_beside("turns_per_second", daemon.turns_per_second, bare.turns_per_second);
  print_beside("answers", static_cast<double>(daemon.latency_us.size()),
               static_cast<double>(bare.latency_us.size()));
  for (const double share : {0.1, 0.5, 0.99}) {
    print_beside("answer_us_p" + std::to_string(std::lround(100 * share)),
                 quantile(daemon.latency_us, share), quantile(bare.latency_us, share));
  }
  print_beside("resident_kib_before", daemon.resident_kib_before, bare.resident_kib_before);
  print_beside("resident_kib_after", daemon.resident_kib_after, bare.resident_kib_after);
}

void kill_detached() {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const auto process = static_cast<pid_t>(strtol(entry.path().filename().c_str(), nullptr, 10));
    if (process > 0 && number_in(entry.path() / "status", "PPid") == getpid()) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
  }
}

double quantile(std::vector<double> values, double share) {
  if (values.empty()) {
    return NAN;
  }
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

void print(const std::string& name, double value) {
  (void)printf("%s %.6g\n", name.c_str(), value);
}
