// The receiver and its socket, beyond the datagrams that transcripts show.
#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

#include "core/event_socket.h"
#include "support/daemon_test.h"
#include "support/event_port.h"

namespace {

using air::operator+;

class EventReceiverTest : public DaemonTest {
 protected:
  EventReceiverTest() { starts_in(ONBOARD_MODE_BASE); }
};

TEST_F(EventReceiverTest, ADatagramCutAtAnyByteIsRefusedWithoutEffect) {
  const air::Bytes whole = air::event(44, air::UNIT, air::probe_data(air::element(2)));
  for (std::size_t size = 1; size < whole.size(); ++size) {
    EXPECT_EQ(receives({whole.begin(), whole.begin() + static_cast<long>(size)}),
              size < 90 ? -1 : 0)
        << size;
    EXPECT_EQ(context.candidate_count, 0) << size;
  }
  const air::Bytes element_behind_its_data =
      air::event(44, air::UNIT, air::probe_data({})) + air::element(2);
  EXPECT_EQ(receives(element_behind_its_data), 0);
  EXPECT_EQ(context.candidate_count, 0);
  EXPECT_EQ(receives(whole), 0);
  EXPECT_EQ(context.candidate_count, 1);
}

TEST_F(EventReceiverTest, SilenceInterruptionAndFailureAreTold) {
  int event_fd = -1;
  timeval none{};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, none), -1);
  EXPECT_EQ(messages(), "fd is invalid.\n");
  ASSERT_EQ(open_eventfd(event_fd), 0);
  forget();
  timeval brief{.tv_sec = 0, .tv_usec = 1000};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, brief), -1);
  EXPECT_EQ(messages(), "");
  close(event_fd);
  const auto begin = std::chrono::steady_clock::now();
  for (const long microseconds : {20000L, -1L, 20000L, -1L}) {  // each kind is logged once
    timeval again{.tv_sec = 0, .tv_usec = microseconds};
    EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, again), -1);
  }
  timeval last{.tv_sec = 0, .tv_usec = 20000};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, FD_SETSIZE, last), -1);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60))
      << "a wait that fails is slept out, or the loop would take the processor";
  EXPECT_EQ(messages(), "select failed: Bad file descriptor\nselect failed: Invalid argument\n");
  EXPECT_THAT(platform().log, testing::StartsWith("[event_recvr]["));
  forget();
  const int not_a_socket = open("/dev/zero", O_RDONLY);
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, not_a_socket, none), -1);
  EXPECT_EQ(messages(), "failed to recv data.\n");
  close(not_a_socket);
}

TEST_F(EventReceiverTest, TheSocketIsBoundToTheLoopbackPortAloneAndClosedOnce) {
  int event_fd = -1;
  ASSERT_EQ(open_eventfd(event_fd), 0);
  const air::Bytes datagram = air::event(7, air::UNIT, {});
  EXPECT_EQ(send_to_event_port(datagram) + send_to_event_port(datagram), 180);
  timeval wait{.tv_sec = 1, .tv_usec = 0};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, wait), 0);
  sockaddr_in bound{};
  socklen_t width = sizeof bound;
  EXPECT_EQ(getsockname(event_fd, reinterpret_cast<sockaddr*>(&bound), &width), 0);
  EXPECT_EQ(bound.sin_addr.s_addr, htonl(INADDR_LOOPBACK)) << "nobody outside may send events";
  int size = 0;
  width = sizeof size;
  ASSERT_EQ(getsockopt(event_fd, SOL_SOCKET, SO_RCVBUF, &size, &width), 0);
  EXPECT_GE(size, 212992 * 2);
  const int before = open_descriptors();
  int second = -1;
  EXPECT_EQ(open_eventfd(second), EADDRINUSE) << "two daemons must not share the events";
  EXPECT_EQ(second, -1);
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(close_eventfd(event_fd), 0);
  EXPECT_EQ(event_fd, -1);
  EXPECT_NE(close_eventfd(event_fd), 0);
}

}  // namespace
