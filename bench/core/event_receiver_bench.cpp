// The whole of event_recvr on a socket pair that is fed from memory, one datagram at a time: sent,
// waited for, received, checked and handled, log lines included. `bare_receive` is the same without
// the daemon: sent, waited for, received.
//
// The handlers are measured here as well: probe requests and scan results with 300 bytes of
// elements, 10 or 20 of them, and action frames of an operation that nobody serves.
#include <sys/select.h>
#include <sys/socket.h>

#include "core/driver_event.h"
#include "core/event_socket.h"
#include "crypto/key_files.h"
#include "discovery/candidate_table.h"
#include "support/bench.h"

namespace {

// Feeds `datagram` to the socket that `receive` reads, again and again.
template <typename Receive>
void feed(benchmark::State& state, const air::Bytes& datagram, Receive receive) {
  std::array<int, 2> ends{};
  (void)!socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data());
  measure(state, [&] {
    (void)!send(ends[0], datagram.data(), datagram.size(), 0);
    timeval timeout{};
    receive(ends[1], timeout);
  });
  close(ends[0]);
  close(ends[1]);
}

air::Bytes other_event() {
  return air::event(7, air::UNIT, air::Bytes(212, 1));
}

void bare_receive(benchmark::State& state) {
  feed(state, other_event(), [](int fd, timeval& timeout) {
    std::array<std::uint8_t, DATAGRAM_MAX> buffer;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    (void)!select(fd + 1, &readable, nullptr, nullptr, &timeout);
    benchmark::DoNotOptimize(recv(fd, buffer.data(), buffer.size(), 0));
  });
}
BENCHMARK(bare_receive);

void receive(benchmark::State& state, OnboardMode mode, const air::Bytes& datagram) {
  reset_context();
  context.cur_mode = mode;
  feed(state, datagram, [mode](int fd, timeval& timeout) { event_recvr(mode, fd, timeout); });
}

air::Bytes broken() {
  air::Bytes datagram = other_event();
  datagram[28] = 0x08;  // not the driver's ether type
  return datagram;
}

air::Bytes probe(std::size_t elements, const air::Bytes& last) {
  return air::event(44, air::UNIT, air::probe_data(beacon_elements(elements, last)));
}

air::Bytes scan_result(std::size_t elements, const air::Bytes& last) {
  air::Scan scan;
  scan.elements = beacon_elements(elements, last);
  return air::event(69, air::BASE, air::scan_data(scan));
}

air::Bytes forged(std::size_t size) {
  return air::event(59, air::UNIT, air::action_frame(0x1005, air::Bytes(size, 0xA5)));
}

const air::Bytes OTHER_VENDOR = air::ie(0xDD, air::Bytes(11, 0x77));
const air::Bytes UNIT = air::element(2);  // in a beacon: all is logged, but nobody joins a unit
constexpr OnboardMode SEARCHING = ONBOARD_MODE_UNCONFIGURED;
constexpr OnboardMode BASE = ONBOARD_MODE_BASE;

BENCHMARK_CAPTURE(receive, dropped_by_mode, ONBOARD_MODE_SATELLITE, other_event());
BENCHMARK_CAPTURE(receive, broken_datagram, BASE, broken());
BENCHMARK_CAPTURE(receive, other_event_type, BASE, other_event());
BENCHMARK_CAPTURE(receive, probe_of_stranger_10, BASE, probe(10, OTHER_VENDOR));
BENCHMARK_CAPTURE(receive, probe_of_stranger_20, BASE, probe(20, OTHER_VENDOR));
BENCHMARK_CAPTURE(receive, probe_of_known_unit_10, BASE, probe(10, UNIT));
BENCHMARK_CAPTURE(receive, probe_of_known_unit_20, BASE, probe(20, UNIT));
BENCHMARK_CAPTURE(receive, beacon_of_stranger_10, SEARCHING, scan_result(10, OTHER_VENDOR));
BENCHMARK_CAPTURE(receive, beacon_of_stranger_20, SEARCHING, scan_result(20, OTHER_VENDOR));
BENCHMARK_CAPTURE(receive, beacon_with_element_10, SEARCHING, scan_result(10, UNIT));
BENCHMARK_CAPTURE(receive, beacon_with_element_20, SEARCHING, scan_result(20, UNIT));
BENCHMARK_CAPTURE(receive, forged_frame_13, BASE, forged(13));
BENCHMARK_CAPTURE(receive, forged_frame_512, BASE, forged(512));

// A unit's operation 1000, answered with the base's key, without the command that sends it.
void answer_operation_1000(benchmark::State& state) {
  run_commands(false);
  rsa_gen_key_pair();
  CandidateEntry unit{};
  unit.mac = sta_text(air::UNIT);
  reset_context();
  update_candidate_table(candidate_table, unit);
  context.cur_mode = BASE;
  feed(state, air::event(59, air::UNIT, air::action_frame(0x1000, UNIT)),
       [](int fd, timeval& timeout) { event_recvr(BASE, fd, timeout); });
  if (candidate_table[0].stage != CANDIDATE_BASE_KEY_SENT) {
    state.SkipWithError("the operation was not answered");
  }
  run_commands(true);
}
BENCHMARK(answer_operation_1000);

}  // namespace
