// Measures the daemon as a whole. Each command runs in a sandbox of its own, so that the fixed port
// and the fixed files of the daemon are nobody else's, and prints lines "name value".
//
// Standard output of the daemon leads to /dev/null, /tmp is in memory, `wl` is a static program
// that does nothing. Ratios are to a bare loop that gets the same events in the same run.
#include <sys/prctl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <numeric>
#include <vector>

#include "load/load.h"
#include "load/receiver.h"

namespace {

const air::Bytes OTHER_EVENT = air::event(7, air::UNIT, air::Bytes(212, 1));

struct Flood {
  double per_second;  // datagrams taken
  double cpu_us;      // of the receiver for each
};

// What becomes of datagrams that are sent as fast as possible.
Flood flood(Receiver& receiver, const air::Bytes& datagram, double seconds) {
  const std::int64_t begin = now_ns();
  const auto end = begin + static_cast<std::int64_t>(1e9 * seconds);
  const std::uint64_t before = receiver.meter().taken;
  const double cpu = receiver.cpu_seconds();
  while (now_ns() < end) {
    send_event(datagram, 64);
  }
  const auto taken = static_cast<double>(receiver.meter().taken - before);
  return {.per_second = 1e9 * taken / static_cast<double>(now_ns() - begin),
          .cpu_us = 1e6 * (receiver.cpu_seconds() - cpu) / taken};
}

void flood_in_turns(OnboardMode mode, const air::Bytes& datagram, int stations, int rounds) {
  std::vector<double> daemon;
  std::vector<double> cpu_us;
  std::vector<double> ratio;
  std::vector<double> cpu_ratio;
  Trace trace;
  for (int i = 0; i < rounds; ++i) {
    {
      Receiver receiver(mode);
      for (int station = 0; station < stations; ++station) {
        send_event(probe_of(station));
      }
      receiver.wait_until_handled(static_cast<std::uint64_t>(stations));
      trace = receiver.trace_of(datagram);
      const Flood outcome = flood(receiver, datagram, 1);
      daemon.push_back(outcome.per_second);
      cpu_us.push_back(outcome.cpu_us);
    }
    Receiver bare({trace});
    const Flood floor = flood(bare, datagram, 1);
    ratio.push_back(daemon.back() / floor.per_second);
    cpu_ratio.push_back(cpu_us.back() / floor.cpu_us);
  }
  print("events_per_second", quantile(daemon, 0.5));
  print("cpu_us_per_event", quantile(cpu_us, 0.5));
  print("ratio_to_bare_loop", quantile(ratio, 0.5));
  print("cpu_ratio_to_bare_loop", quantile(cpu_ratio, 0.5));
  print("messages", static_cast<double>(trace.messages.size()));
}

// How late the search scans began that a unit's timer asks for, every 5 seconds from the first on.
double latest_scan(const Meter& meter) {
  constexpr std::size_t FIRST = 1;  // the first command puts the element on the air
  constexpr std::int64_t SECOND = 1'000'000'000;
  const std::int64_t armed = meter.ring[FIRST].end_ns / SECOND * SECOND;
  double latest = 0;
  for (std::size_t i = FIRST + 1; i < meter.answers; ++i) {
    const auto due = armed + static_cast<std::int64_t>(i - FIRST) * 5 * SECOND;
    latest = std::max(latest, 1e-9 * static_cast<double>(meter.ring[i].begin_ns - due));
  }
  return latest;
}

// The milliseconds until a thousand datagrams at once have been handled; every second time the
// receiver is stopped while they arrive.
std::vector<double> times_of_bursts(Receiver& receiver, const air::Bytes& datagram, int runs) {
  std::vector<double> times;
  for (int run = 0; run < runs; ++run) {
    const std::uint64_t before = receiver.meter().taken;
    const bool held = run % 2 == 1;
    std::int64_t begin = now_ns();
    if (held) {
      kill(receiver.pid(), SIGSTOP);
    }
    send_event(datagram, 1000);
    if (held) {
      begin = now_ns();
      kill(receiver.pid(), SIGCONT);
    }
    receiver.wait_until_handled(before + 1000);
    times.push_back(1e-6 * static_cast<double>(now_ns() - begin));
    usleep(150'000);
  }
  return times;
}

void print_bursts(Receiver& receiver, const std::vector<double>& times) {
  print("runs", static_cast<double>(times.size()));
  print("lost", static_cast<double>(lost()));
  print("taken", static_cast<double>(receiver.meter().taken));
  print("handled_ms_p50", quantile(times, 0.5));
  print("handled_ms_worst", quantile(times, 1));
  print("timer_late_s_worst", latest_scan(receiver.meter()));
}

// A searching unit gets scan results of strangers.
void burst(int runs) {
  const air::Bytes beacon = stranger_beacon();
  if (beacon.size() != 300) {
    die("the datagrams have not 300 bytes");
  }
  Trace trace;
  {
    Receiver receiver(ONBOARD_MODE_UNCONFIGURED);
    trace = receiver.trace_of(beacon);
    const std::vector<double> times = times_of_bursts(receiver, beacon, runs);
    print_bursts(receiver, times);
  }
  Receiver bare({trace});
  print("bare_ms_p50", quantile(times_of_bursts(bare, beacon, std::min(runs, 20)), 0.5));
}

void push(int rounds) {
  Receiver receiver(ONBOARD_MODE_BASE);
  std::vector<double> times;
  std::vector<double> frames;
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    std::uint64_t answers = receiver.meter().answers;
    for (int station = 0; station < 15; ++station) {
      send_event(probe_of(station));
      send_event(operation_1000_of(station));
      receiver.wait_for_answers(++answers);
      send_event(operation_1002_of(station));
      receiver.wait_for_answers(++answers);
    }
    const std::int64_t begin = now_ns();
    kill(receiver.pid(), SIGUSR1);
    receiver.wait_for_answers(answers + 15);
    for (std::uint64_t i = answers; i < answers + 15; ++i) {
      const Answer& frame = receiver.meter().ring[i];
      if (frame.operation != 1003) {
        die("the push sent something else");
      }
      frames.push_back(1e-6 * static_cast<double>(frame.end_ns - frame.begin_ns));
    }
    times.push_back(1e-6 * static_cast<double>(receiver.meter().ring[answers + 14].end_ns - begin));
    ratios.push_back(times.back() / std::accumulate(frames.end() - 15, frames.end(), 0.0));
  }
  print("ratio_to_commands", quantile(ratios, 0.5));
  print("push_ms_p50", quantile(times, 0.5));
  print("push_ms_worst", quantile(times, 1));
  print("shell_command_ms_p50", quantile(frames, 0.5));
}

double bare_idle_ms(int seconds) {
  Receiver bare(std::vector<Trace>{});
  sleep(1);
  const double cpu = bare.cpu_seconds();
  sleep(static_cast<unsigned>(seconds));
  return 1e3 * (bare.cpu_seconds() - cpu);
}

void idle(OnboardMode mode, int seconds) {
  print("bare_cpu_ms", bare_idle_ms(seconds));
  Receiver receiver(mode);
  sleep(2);
  const auto switches = [&receiver] {
    return receiver.status("voluntary_ctxt_switches") +
           receiver.status("nonvoluntary_ctxt_switches");
  };
  const double cpu = receiver.cpu_seconds();
  const long before = switches();
  sleep(static_cast<unsigned>(seconds));
  print("cpu_ms", 1e3 * (receiver.cpu_seconds() - cpu));
  print("context_switches", static_cast<double>(switches() - before));
  print("resident_kib", static_cast<double>(receiver.status("VmRSS")));
}

// Milliseconds from before the fork to the program's end, or its detaching.
double launch_ms(const char* program, std::int64_t begin) {
  launch(program);
  return 1e-6 * static_cast<double>(now_ns() - begin);
}

// In turns, so that both meet the same machine; both carry the shim, which notes the bind.
void start(int rounds) {
  std::vector<double> bound;
  std::vector<double> detached;
  std::vector<double> empty;
  prepare_unit(ONBOARD_MODE_SATELLITE);
  const Meter* meter = map_meter();
  for (int i = 0; i < rounds; ++i) {
    const std::int64_t begin = now_ns();
    detached.push_back(launch_ms(BUILD_DIR "/vorlent", begin));
    bound.push_back(1e-6 * static_cast<double>(meter->bound_ns - begin));
    kill_detached();
    empty.push_back(launch_ms(BUILD_DIR "/bench/empty", now_ns()));
  }
  print("bound_ms_p50", quantile(bound, 0.5));
  print("detached_ms_p50", quantile(detached, 0.5));
  print("empty_ms_p50", quantile(empty, 0.5));
  print("ratio", quantile(bound, 0.5) / quantile(empty, 0.5));
  print("detached_ratio", quantile(detached, 0.5) / quantile(empty, 0.5));
}

// Runs this program again where the daemon's fixed names and its port are nobody else's.
void start_over_in_sandbox(int argc, char** argv) {
  setenv("VORLENT_LOAD_SANDBOX", "1", 1);
  std::vector<char*> sandboxed = {const_cast<char*>(SOURCE_DIR "/tools/sandbox"),
                                  const_cast<char*>(SOURCE_DIR), const_cast<char*>(BUILD_DIR)};
  sandboxed.insert(sandboxed.end(), argv, argv + argc);
  sandboxed[3] = const_cast<char*>(BUILD_DIR "/vorlent_load");
  sandboxed.push_back(nullptr);
  execv(sandboxed[0], sandboxed.data());
  die("no sandbox");
}

}  // namespace

int main(int argc, char** argv) {
  if (getenv("VORLENT_LOAD_SANDBOX") == nullptr) {
    start_over_in_sandbox(argc, argv);
  }
  prctl(PR_SET_TIMERSLACK, 1);
  CLI::App app("Measures the daemon as a whole, in a sandbox of its own");
  app.require_subcommand(1);
  int count = 0;
  const auto command = [&](const char* name, const char* what, int usual, const char* unit,
                           const std::function<void(int)>& run) {
    CLI::App* sub = app.add_subcommand(name, what);
    sub->add_option("--count", count, unit)
        ->default_str(std::to_string(usual))
        ->check(CLI::Range(1, 100000));
    sub->callback([&count, usual, run] { run(count > 0 ? count : usual); });
  };
  command("dropped", "events dropped in mode 6", 5, "seconds",
          [](int seconds) { flood_in_turns(ONBOARD_MODE_SATELLITE, OTHER_EVENT, 0, seconds); });
  command("known", "probe requests of one known station", 5, "seconds",
          [](int seconds) { flood_in_turns(ONBOARD_MODE_BASE, probe_of(0), 1, seconds); });
  command("known15", "the same with fifteen in the table", 5, "seconds",
          [](int seconds) { flood_in_turns(ONBOARD_MODE_BASE, probe_of(0), 15, seconds); });
  command("burst", "bursts of 1,000 datagrams", 100, "runs", burst);
  command("push", "the push to 15 units", 5, "rounds", push);
  command("idle-base", "an idle base", 20, "seconds",
          [](int seconds) { idle(ONBOARD_MODE_BASE, seconds); });
  command("idle-satellite", "an idle satellite", 20, "seconds",
          [](int seconds) { idle(ONBOARD_MODE_SATELLITE, seconds); });
  command("start", "from exec to the bound socket", 50, "rounds", start);
  command("mix", "a mix of events at a rate", 10, "seconds", run_load);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
