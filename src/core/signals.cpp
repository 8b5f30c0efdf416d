#include "core/signals.h"

#include <array>
#include <atomic>
#include <csignal>

namespace {

std::array<std::atomic<unsigned>, NSIG> pending{};
static_assert(std::atomic<unsigned>::is_always_lock_free);

}  // namespace

void sig_handler(int signo) {
  pending[static_cast<std::size_t>(signo)].fetch_add(1);
}

void install_signal_handlers() {
  (void)signal(SIGUSR1, sig_handler);
  (void)signal(SIGUSR2, sig_handler);
  sigset_t none;
  sigemptyset(&none);
  (void)sigprocmask(SIG_SETMASK, &none, nullptr);
}

void hold_signals_back() {
  sigset_t ours;
  sigemptyset(&ours);
  sigaddset(&ours, SIGUSR1);
  sigaddset(&ours, SIGUSR2);
  (void)sigprocmask(SIG_SETMASK, &ours, nullptr);
}

void survive_failing_writes() {
  for (const int signo : {SIGPIPE, SIGXFSZ}) {
    (void)signal(signo, [](int /*number*/) {});
  }
}

bool take_pending_signal(int signo) {
  std::atomic<unsigned>& count = pending[static_cast<std::size_t>(signo)];
  return count.load(std::memory_order_relaxed) != 0 && count.exchange(0) != 0;
}
