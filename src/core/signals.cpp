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
}

void survive_broken_pipes() {
  (void)signal(SIGPIPE, [](int /*signo*/) {});
}

bool take_pending_signal(int signo) {
  std::atomic<unsigned>& count = pending[static_cast<std::size_t>(signo)];
  return count.load(std::memory_order_relaxed) != 0 && count.exchange(0) != 0;
}
