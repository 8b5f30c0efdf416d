#include "role/onboarding_window.h"

#include "core/context.h"
#include "core/log.h"
#include "core/nvram.h"
#include "core/retry_pause.h"
#include "core/shell.h"
#include "core/timer_list.h"
#include "role/wl_elements.h"

namespace {

constexpr const char* REQUEST = "onboarding_soap_active";

constexpr int WINDOW_SECONDS = 60;

bool request_stays = false;  // it has been served, and NVRAM could not be written
RetryPause stay_pause;

void publish_served_request(const char* window_state) {
  request_stays = !nvram_set(REQUEST, "0");
  nvram_set("onboarding_active_state", window_state);
  begin(stay_pause);
}

// True while NVRAM holds a request that has not been served. One that has been, and could not be
// taken back, would open the window anew each turn: it is taken back here, and the window's state
// published, once a second at the most.
bool window_is_requested() {
  if (!nvram_is(REQUEST, "1")) {
    request_stays = false;
    return false;
  }
  if (!request_stays) {
    return true;
  }
  if (is_over(stay_pause)) {
    publish_served_request(context.onboarding_active != 0 ? "2" : "0");
  }
  return false;
}

// Arms the timer that closes the window. Returns its descriptor, or -1.
int start_window_timer() {
  TimerEntry entry{};
  entry.timeout = WINDOW_SECONDS;
  entry.callback = router_stop_onboarding;
  return add_timer(epoll_fd, entry);
}

}  // namespace

void onboarding_window_check() {
  if (context.onboarding_active != 0 && onboarding_timer_fd == -1 && may_ask_again()) {
    onboarding_timer_fd = start_window_timer();  // or the window would stay open
  }
  if (!window_is_requested()) {
    return;
  }
  if (context.onboarding_active != 0) {
    router_stop_onboarding(onboarding_timer_fd);
  }
  onboarding_timer_fd = router_start_onboarding();
}

int router_start_onboarding() {
  run_command(ADD_BASE_ELEMENT.data());
  ONBOARD_LOG("%s\n", ADD_BASE_ELEMENT.data());
  const int timer = start_window_timer();
  ONBOARD_LOG("add timer: %d for candidate action frame handshake in 60 secs.\n", timer);
  publish_served_request("2");
  context.onboarding_active = 1;
  return timer;
}

void router_stop_onboarding(int timer) {
  run_command(DEL_BASE_ELEMENT.data());
  ONBOARD_LOG("%s\n", DEL_BASE_ELEMENT.data());
  del_timer(epoll_fd, timer);
  nvram_set("onboarding_active_state", "0");
  context.onboarding_active = 0;
}
