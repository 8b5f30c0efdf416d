// Loaded before the C library: counts the daemon's turns and datagrams and times its commands,
// by which it sends action frames, and the moment its socket is bound. The commands do not inherit
// the shim.
#include <dlfcn.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cstring>

#include "load/meter.h"

namespace {

Meter* const meter = map_meter();

__attribute__((constructor)) void keep_from_children() {
  unsetenv("LD_PRELOAD");
}

template <typename Function>
Function* next(Function* /*own*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  static auto* const real = next(bind, "bind");
  const int result = real(fd, address, length);
  meter->bound_ns = now_ns();
  return result;
}

int select(int count, fd_set* in, fd_set* out, fd_set* except, timeval* timeout) {
  static auto* const real = next(select, "select");
  if (meter->pid == 0) {
    meter->pid = getpid();
  }
  ++meter->turns;
  return real(count, in, out, except, timeout);
}

ssize_t recv(int fd, void* buffer, std::size_t size, int flags) {
  static auto* const real = next(recv, "recv");
  const ssize_t received = real(fd, buffer, size, flags);
  if (received > 0) {
    meter->turn_of_last = meter->turns.load();
    ++meter->taken;
  }
  return received;
}

int system(const char* command) {
  static auto* const real = next(system, "system");
  const char* frame = strstr(command, "0409027e91100");
  Answer answer{};
  answer.operation = frame == nullptr ? 0 : 1000 + frame[13] - '0';
  answer.begin_ns = now_ns();
  const int result = real(command);
  answer.end_ns = now_ns();
  meter->add_answer(answer);
  return result;
}

}  // extern "C"
