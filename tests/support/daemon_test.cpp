#include "support/daemon_test.h"

#include <sys/socket.h>
#include <unistd.h>

#include <iostream>

#include "core/event_socket.h"
#include "core/timer_list.h"
#include "crypto/key_files.h"
#include "discovery/candidate_table.h"
#include "role/role_change.h"

namespace {

std::string all_printed;

}  // namespace

DaemonTest::DaemonTest() {
  platform() = FakePlatform{};
  new_process();
  for (const char* file : {RSA_PRI_FILE, RSA_PUB_FILE, CANDIDATE_FILE}) {
    unlink(file);
  }
  epoll_fd = init_epoll();
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, air_socket_), 0);
  all_printed.clear();
  testing::internal::CaptureStdout();
}

DaemonTest::~DaemonTest() {
  all_printed += testing::internal::GetCapturedStdout();
  if (HasFailure()) {
    std::cerr << all_printed;  // the failures' own text was captured with it
  }
  reset_timer_list();
  for (const int fd : {epoll_fd, air_socket_[0], air_socket_[1]}) {
    close(fd);
  }
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

std::string DaemonTest::printed() {
  std::string text = testing::internal::GetCapturedStdout();
  testing::internal::CaptureStdout();
  all_printed += text;
  return text;
}

void DaemonTest::forget() {
  platform().log.clear();
  platform().journal.clear();
  printed();
}
