#include "core/event_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bitset>
#include <cerrno>
#include <cstring>

#include "core/driver_event.h"
#include "core/log.h"
#include "core/mode_table.h"
#include "unique_fd.h"

namespace {

constexpr int RECEIVE_BUFFER = 1 << 20;

int bind_loopback(int fd) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(EVENT_PORT);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

int set_reuse_address(int fd, int on) {
  return setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

void ask_for_receive_buffer(int fd) {
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &RECEIVE_BUFFER, sizeof RECEIVE_BUFFER) != 0) {
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER, sizeof RECEIVE_BUFFER);
  }
}

std::bitset<256> reported_select_failures;  // by errno value

// Logged once per kind of error: a broken descriptor would otherwise fill the log at every turn.
// The time-out is slept out, so that the loop keeps its pace.
int fail_select(int error, timeval timeout) {
  const auto kind = static_cast<std::size_t>(error) % reported_select_failures.size();
  if (!reported_select_failures.test(kind)) {
    reported_select_failures.set(kind);
    ONBOARD_LOG_AS(AS_EVENT_RECVR, "select failed: %s\n", strerror(error));
  }
  (void)select(0, nullptr, nullptr, nullptr, &timeout);
  return -1;
}

// 1 when readable, 0 when not marked so, -1 on time-out, interruption or failure.
int wait_readable(int fd, timeval& timeout) {
  if (fd >= FD_SETSIZE) {
    return fail_select(EBADF, timeout);  // FD_SET would write past its set
  }
  const timeval whole = timeout;
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(fd, &readable);
  const int count = select(fd + 1, &readable, nullptr, nullptr, &timeout);
  if (count < 0 && errno != EINTR) {
    return fail_select(errno, whole);
  }
  if (count <= 0) {
    return -1;
  }
  return FD_ISSET(fd, &readable) ? 1 : 0;
}

int hand_to_mode(OnboardMode mode, const DriverEventDatagram& datagram) {
  const ModeRow* row = mode_row(mode);
  if (row == nullptr) {
    ONBOARD_LOG_AS(AS_EVENT_RECVR, "Unknown mode: %d\n", static_cast<int>(mode));
    return -1;
  }
  if (row->event_handler != nullptr) {
    row->event_handler(datagram.interface.data(), datagram.event);
  }
  return 0;
}

}  // namespace

int open_eventfd(int& fd) {
  UniqueFd created(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
  if (!created.open()) {
    const int error = errno;
    ONBOARD_LOG("Unable to create loopback socket\n");
    return error;
  }
  if (set_reuse_address(created.get(), 1) != 0) {
    const int error = errno;
    ONBOARD_LOG("Unable to setsockopt to loopback socket %d.\n", created.get());
    return error;
  }
  ask_for_receive_buffer(created.get());
  // Taken back before the bind: two sockets that both allow it would share the port, and a local
  // user who came first would get every event.
  (void)set_reuse_address(created.get(), 0);
  if (bind_loopback(created.get()) != 0) {
    const int error = errno;
    ONBOARD_LOG("Unable to bind to loopback socket %d\n", created.get());
    return error;
  }
  ONBOARD_LOG("opened loopback socket %d\n", created.get());
  fd = created.release();
  return 0;
}

int close_eventfd(int& fd) {
  struct stat status {};
  const int queried = fstat(fd, &status);
  if (queried != 0) {
    return queried;
  }
  ONBOARD_LOG("eventfd: close loopback socket %d\n", fd);
  const int closed = close(fd);
  fd = -1;
  return closed;
}

int event_recvr(OnboardMode mode, int fd, timeval& timeout) {
  if (fd == -1) {
    ONBOARD_LOG("fd is invalid.\n");
    return -1;
  }
  const int readable = wait_readable(fd, timeout);
  if (readable <= 0) {
    return readable;
  }
  std::array<std::uint8_t, DATAGRAM_MAX> buffer;
  const ssize_t received = recv(fd, buffer.data(), buffer.size(), 0);
  if (received <= 0) {
    ONBOARD_LOG("failed to recv data.\n");
    return -1;
  }
  DriverEventDatagram datagram{};
  if (!decode_driver_event(ByteView(buffer.data(), static_cast<std::size_t>(received)), datagram)) {
    return -1;
  }
  return hand_to_mode(mode, datagram);
}
