// A scenario's line as words, and what may stand among them: numbers, shares and times.
#ifndef LAB_WORDS_H
#define LAB_WORDS_H

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/loop.h"

namespace lab {

// A fraction of digits and a point at the beginning of a text, which is shortened by it. GCC 10's
// from_chars reads whole numbers alone.
std::optional<double> take_fraction(std::string_view& text);

// The whole text has to be the number.
template <typename Number>
bool read_number(std::string_view text, Number& value) {
  if constexpr (std::is_floating_point_v<Number>) {
    const std::optional<double> fraction = take_fraction(text);
    value = fraction.value_or(0);
    return fraction && text.empty();
  } else {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
  }
}

// "5s", "200ms", "10min".
std::optional<Time> parse_time(std::string_view text);

// The words of one line, taken from the front; the first thing that is not as expected is kept.
class Words {
 public:
  explicit Words(std::string_view line);
  bool done() const { return at_ >= words_.size(); }
  std::string peek() const { return done() ? "" : words_[at_]; }
  bool take_if(std::string_view word);
  std::string take(const char* expected);
  int number(const char* expected, int low, int high);
  double percent(const char* expected = "a share from 0% to 100%");
  Time time();
  // Takes the word that names one of the entries of a table, of those that may stand here.
  template <typename Table, typename Allowed>
  auto one_of(const Table& table, const std::string& expected, Allowed allowed)
      -> decltype(&*std::begin(table)) {
    std::string names;
    for (const auto& entry : table) {
      if (!allowed(entry)) {
        continue;
      }
      if (take_if(entry.name)) {
        return &entry;
      }
      names += (names.empty() ? "" : ", ") + std::string(entry.name);
    }
    fail(expected + " (" + names + ")");
    return nullptr;
  }
  template <typename Table>
  auto one_of(const Table& table, const std::string& expected) {
    return one_of(table, expected, [](const auto&) { return true; });
  }
  // KEY=VALUE
  std::pair<std::string, std::string> setting();
  void fail(const std::string& expected);
  const std::string& error() const { return error_; }

 private:
  std::vector<std::string> words_;
  std::size_t at_ = 0;
  std::string error_;
};

}  // namespace lab

#endif
