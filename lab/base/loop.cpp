#include "base/loop.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace lab {

namespace {

std::int64_t machine_time() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

bool Clock::start(const std::string& path) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    return false;
  }
  void* page = MAP_FAILED;
  if (ftruncate(fd, sizeof(shared_clock)) == 0) {
    page = mmap(nullptr, sizeof(shared_clock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  }
  close(fd);
  if (page == MAP_FAILED) {
    return false;
  }
  page_ = static_cast<shared_clock*>(page);
  began_ = machine_time();
  *page_ = {.sequence = 0, .rate = 1, .real_base = began_, .virtual_base = began_};
  return true;
}

Clock::~Clock() {
  if (page_ != nullptr) {
    munmap(page_, sizeof(shared_clock));
  }
}

Time Clock::now() const {
  return Time(page_->virtual_base - began_ + (machine_time() - page_->real_base) * page_->rate);
}

void Clock::set_rate(int rate) {
  const std::int64_t real = machine_time();
  const std::int64_t virtual_now = page_->virtual_base + (real - page_->real_base) * page_->rate;
  std::atomic_ref<std::uint32_t> sequence(page_->sequence);
  sequence.fetch_add(1);
  page_->rate = rate;
  page_->real_base = real;
  page_->virtual_base = virtual_now;
  sequence.fetch_add(1);
}

Loop::Loop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

Loop::~Loop() {
  close(epoll_);
}

void Loop::watch(int fd, std::function<void()> ready) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = fd;
  epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
  watched_[fd] = std::move(ready);
}

void Loop::unwatch(int fd) {
  epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
  watched_.erase(fd);
}

void Loop::at(Time when, std::function<void()> action) {
  due_.push({when, asked_++, std::move(action)});
}

int Loop::wait_ms() const {
  if (due_.empty()) {
    return 1000;
  }
  const Time span = (due_.top().when - clock.now()) / clock.rate();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(span + 999us).count();
  return static_cast<int>(std::clamp<std::int64_t>(ms, 0, 1000));
}

void Loop::run_due() {
  while (!stopped_ && !due_.empty() && due_.top().when <= clock.now()) {
    const auto action = due_.top().action;
    due_.pop();
    action();
  }
}

void Loop::run() {
  stopped_ = false;
  while (!stopped_) {
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(epoll_, events.data(), events.size(), wait_ms());
    for (int i = 0; i < count; ++i) {
      // An earlier handler of this turn may have closed the descriptor.
      const auto found = watched_.find(events[static_cast<std::size_t>(i)].data.fd);
      if (found != watched_.end()) {
        const auto ready = found->second;
        ready();
      }
    }
    run_due();
  }
}

}  // namespace lab
