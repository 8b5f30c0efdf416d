#include "crypto/own_key_pair.h"

#include <cstring>

#include "core/log.h"
#include "core/retry_pause.h"
#include "core/told_failure.h"
#include "crypto/key_files.h"

namespace {

ToldFailure told;
RetryPause write_pause;

}  // namespace

void make_own_key_pair() {
  const int error = rsa_gen_key_pair();
  begin(write_pause);
  if (is_news(told, error)) {
    ONBOARD_LOG("the own key pair is not written: %s\n", strerror(error));
  }
}

void renew_missing_key_pair() {
  if (told.error != 0 && is_over(write_pause)) {
    make_own_key_pair();
  }
}
