#include "core/context.h"

OnboardContext context{};
int epoll_fd = -1;
int mode_timer_fd = -1;
int onboarding_timer_fd = -1;

void reset_context() {
  context = OnboardContext{};
  epoll_fd = -1;
  mode_timer_fd = -1;
  onboarding_timer_fd = -1;
}
