// A failure that is told when it begins, and again when its reason has become another one: what is
// tried at each turn or event would otherwise fill the log.
#ifndef VORLENT_CORE_TOLD_FAILURE_H
#define VORLENT_CORE_TOLD_FAILURE_H

#include <utility>

struct ToldFailure {
  int error = 0;  // the errno value that was told; 0: none since the last success
};

// Notes how an attempt ended, with an errno value or with 0. Returns whether that is to be told.
inline bool is_news(ToldFailure& told, int error) {
  return std::exchange(told.error, error) != error && error != 0;
}

#endif
