#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "core/event_socket.h"
#include "core/signals.h"
#include "support/daemon_test.h"
#include "support/event_port.h"

namespace {

using air::operator+;

class EventReceiverTest : public DaemonTest {
 protected:
  EventReceiverTest() { starts_in(ONBOARD_MODE_BASE); }

  // An event of a type that the base's handler names in the log, so that its arrival is seen.
  static air::Bytes valid(const air::Bytes& data = {}) { return air::event(7, air::UNIT, data); }
  static bool arrived() { return messages().find("recved event type 0x7") != std::string::npos; }
};

TEST_F(EventReceiverTest, TheShortestDatagramArrivesAndOneByteLessDoesNot) {
  EXPECT_EQ(receives(valid()), 0);
  EXPECT_EQ(messages(), "recved event type 0x7 on wl0\n");
  forget();
  air::Bytes cut = valid();
  cut.pop_back();
  EXPECT_EQ(receives(cut), -1);
  EXPECT_EQ(messages(), "Invalid length of message\n");
}

TEST_F(EventReceiverTest, EachFieldIsCheckedInItsTurnWithItsMessage) {
  struct Case {
    std::size_t offset;
    air::Bytes bytes;
    const char* message;
  };
  const Case cases[] = {
      {28, {0x08, 0x00}, "Unknown recved ether type 800\n"},
      {60, {0xff, 0xff, 0xff, 0xff}, "Invalid datalen of message\n"},
      {60, {0, 0, 0, 75}, "Invalid datalen of message\n"},
      {30, {0x80, 0x02}, "wl0: not vendor specifictype\n"},
      {34, {1}, "wl0: subtype header version mismatch\n"},
      {32, {0, 7}, "wl0: subtype hdr length not even minimum\n"},
      {35, {0, 0x10, 0x19}, "wl0: mevent_validate_wlpvt_message: not BRCM OUI\n"},
      {38, {0, 2}, ""},
  };
  air::Bytes all_wrong = valid();
  for (std::size_t i = std::size(cases); i-- > 0;) {
    air::Bytes one_wrong = valid();
    std::copy(cases[i].bytes.begin(), cases[i].bytes.end(),
              one_wrong.begin() + static_cast<long>(cases[i].offset));
    std::copy(cases[i].bytes.begin(), cases[i].bytes.end(),
              all_wrong.begin() + static_cast<long>(cases[i].offset));
    for (const air::Bytes& datagram : {one_wrong, all_wrong}) {
      EXPECT_EQ(receives(datagram), -1);
      EXPECT_EQ(messages(), cases[i].message);
      forget();
    }
  }
  air::Bytes smallest_header = valid();
  smallest_header[33] = 8;
  EXPECT_EQ(receives(smallest_header), 0);
}

TEST_F(EventReceiverTest, TheFunctionNamesInTheLogAreThoseOfTheSteps) {
  receives(air::Bytes(29, 0));
  EXPECT_THAT(platform().log, testing::StartsWith("[event_recvr]["));
  EXPECT_EQ(messages(), "Unknown recved ether type 0\n");
  forget();
  receives(air::event(7, air::UNIT, {}, "wl0", 8, 1000));
  EXPECT_THAT(platform().log, testing::StartsWith("[mevent_validate_wlpvt_message]["));
}

TEST_F(EventReceiverTest, ADatagramCutAtAnyByteIsRefusedWithoutEffect) {
  starts_in(ONBOARD_MODE_BASE);
  const air::Bytes whole = air::event(44, air::UNIT, air::probe_data(air::element(2)));
  for (std::size_t size = 1; size < whole.size(); ++size) {
    receives(air::Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
    EXPECT_EQ(context.candidate_count, 0) << size;
  }
  receives(whole);
  EXPECT_EQ(context.candidate_count, 1);
}

TEST_F(EventReceiverTest, BytesOfAnEarlierDatagramAreNeverSeenAgain) {
  receives(air::event(44, air::UNIT, air::probe_data(air::ie(1, air::Bytes(60, 0)))));
  air::Bytes whole = air::event(44, air::UNIT, air::probe_data(air::element(2)));
  air::Bytes claims_more = whole;
  claims_more.resize(whole.size() - 5);
  receives(claims_more);  // the validation allows it: datalen counts against headers and data
  EXPECT_EQ(context.candidate_count, 0);
}

TEST_F(EventReceiverTest, ADatagramLongerThanTheBufferIsCut) {
  const air::Bytes filler = air::ie(0, air::Bytes(255, 0));
  air::Bytes elements;
  while (88 + 40 + elements.size() < 4200) {
    elements = elements + filler;
  }
  receives(air::event(44, air::UNIT, air::probe_data(elements + air::element(2))));
  EXPECT_EQ(context.candidate_count, 0);
}

TEST_F(EventReceiverTest, ModesWithoutAHandlerDropAndUnknownModesSaySo) {
  for (const auto mode :
       {ONBOARD_MODE_TEMP_SATELLITE, ONBOARD_MODE_TEMP_ETH_SATELLITE, ONBOARD_MODE_SATELLITE}) {
    context.cur_mode = mode;
    EXPECT_EQ(receives(valid()), 0);
    EXPECT_EQ(messages(), "");
  }
  context.cur_mode = static_cast<OnboardMode>(7);
  EXPECT_EQ(receives(valid()), -1);
  EXPECT_EQ(messages(), "Unknown mode: 7\n");
}

TEST_F(EventReceiverTest, SilenceInterruptionAndFailureAreTold) {
  int event_fd = -1;
  timeval none{};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, none), -1);
  EXPECT_EQ(messages(), "fd is invalid.\n");
  forget();
  ASSERT_EQ(open_eventfd(event_fd), 0);
  forget();
  timeval brief{.tv_sec = 0, .tv_usec = 1000};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, brief), -1);
  EXPECT_FALSE(wait_for_event(event_fd, epoll_fd, 1));
  EXPECT_EQ(messages(), "");
  close(event_fd);
  for (const long bad_microseconds : {0L, -1L, 0L, -1L}) {  // each kind is logged once
    timeval again{.tv_sec = 0, .tv_usec = bad_microseconds};
    EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, again), -1);
  }
  EXPECT_EQ(messages(), "select failed: Bad file descriptor\nselect failed: Invalid argument\n");
  forget();
  const int not_a_socket = open("/dev/zero", O_RDONLY);
  timeval once{};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, not_a_socket, once), -1);
  EXPECT_EQ(messages(), "failed to recv data.\n");
  close(not_a_socket);
}

TEST_F(EventReceiverTest, TheSocketIsBoundToTheLoopbackPortAndClosedOnce) {
  int event_fd = -1;
  ASSERT_EQ(open_eventfd(event_fd), 0);
  EXPECT_EQ(messages(), "opened loopback socket " + std::to_string(event_fd) + "\n");
  forget();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(send_to_event_port(valid()), 90);
  }
  timeval wait{.tv_sec = 1, .tv_usec = 0};
  EXPECT_EQ(event_recvr(ONBOARD_MODE_BASE, event_fd, wait), 0);
  EXPECT_TRUE(arrived());
  EXPECT_TRUE(wait_for_event(event_fd, epoll_fd, -1)) << "a datagram ends the timers' wait";
  int size = 0;
  socklen_t width = sizeof size;
  ASSERT_EQ(getsockopt(event_fd, SOL_SOCKET, SO_RCVBUF, &size, &width), 0);
  EXPECT_GE(size, 212992 * 2);
  int second = -1;
  EXPECT_EQ(open_eventfd(second), EADDRINUSE) << "two daemons must not share the events";
  forget();
  const std::string number = std::to_string(event_fd);
  EXPECT_EQ(close_eventfd(event_fd), 0);
  EXPECT_EQ(event_fd, -1);
  EXPECT_NE(close_eventfd(event_fd), 0);
  EXPECT_EQ(messages(), "eventfd: close loopback socket " + number + "\n");
}

TEST_F(EventReceiverTest, APortThatIsTakenIsReportedAndNothingStaysOpen) {
  const int other = take_event_port();
  ASSERT_GE(other, 0);
  const int before = open_descriptors();
  int event_fd = -1;
  EXPECT_EQ(open_eventfd(event_fd), EADDRINUSE);
  EXPECT_EQ(event_fd, -1);
  EXPECT_THAT(messages(), testing::StartsWith("Unable to bind to loopback socket "));
  EXPECT_EQ(open_descriptors(), before);
  close(other);
}

TEST_F(EventReceiverTest, ASignalIsCountedOnceHoweverOftenItComes) {
  install_signal_handlers();
  EXPECT_FALSE(take_pending_signal(SIGUSR1));
  for (int i = 0; i < 1000; ++i) {
    (void)raise(SIGUSR1);
  }
  EXPECT_FALSE(take_pending_signal(SIGUSR2));
  EXPECT_TRUE(take_pending_signal(SIGUSR1));
  EXPECT_FALSE(take_pending_signal(SIGUSR1));
}

}  // namespace
