// Something that listens at the event port, and the way to send it events: the daemon, as a process
// of its own with the stand-in platform, or a bare loop for comparison.
#ifndef VORLENT_BENCH_RECEIVER_H
#define VORLENT_BENCH_RECEIVER_H

#include <string>
#include <vector>

#include "core/context.h"
#include "load/meter.h"
#include "support/air.h"

[[noreturn]] void die(const std::string& why);

// The number behind "NAME:" in a file such as /proc/PID/status, -1 where there is none.
long number_in(const std::string& path, const std::string& name);

// An event and what the daemon leaves of it: messages in the log, each of which begins with a
// bracket, and the file of candidates where that is written anew.
struct Trace {
  air::Bytes event;
  std::vector<std::string> messages;
  std::string candidates;
};

class Receiver {
 public:
  // A daemon that has entered `mode`, with a store of a thousand settings.
  explicit Receiver(OnboardMode mode);
  // The bare loop: select, recv, epoll_wait without a wait; of the events traced it leaves the
  // same as the daemon, with a look at the NVRAM file for each message, and nothing else.
  explicit Receiver(const std::vector<Trace>& traces);
  ~Receiver();
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  Meter& meter() { return *meter_; }
  [[nodiscard]] pid_t pid() const { return pid_; }
  [[nodiscard]] double cpu_seconds() const;
  // The number behind `name` in /proc/PID/status.
  [[nodiscard]] long status(const std::string& name) const;
  // Sends an event that the daemon knows already, and returns what it leaves.
  Trace trace_of(const air::Bytes& event);
  // Waits until `count` datagrams have been received and handled, for five seconds at most.
  void wait_until_handled(std::uint64_t count);
  // Waits until `count` commands have ended.
  void wait_for_answers(std::uint64_t count);

 private:
  void adopt();

  Meter* meter_;
  pid_t pid_ = 0;
};

// The NVRAM, PATH and files of a unit that starts in `mode`.
void prepare_unit(OnboardMode mode);

// Starts a program with the shim in it and waits until it ends or detaches.
void launch(const char* program);

// Sends one datagram, or `count` copies in one go.
void send_event(const air::Bytes& datagram, std::size_t count = 1);

// Datagrams that found no room in the receiver's queue so far.
std::uint64_t lost();

#endif
