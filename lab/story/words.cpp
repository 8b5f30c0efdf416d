#include "story/words.h"

#include <cstdlib>

namespace lab {

std::optional<double> take_fraction(std::string_view& text) {
  const std::string digits(text.substr(0, text.find_first_not_of("0123456789.")));
  char* end = nullptr;
  const double value = std::strtod(digits.c_str(), &end);
  if (end == digits.c_str()) {
    return std::nullopt;
  }
  text.remove_prefix(static_cast<std::size_t>(end - digits.c_str()));
  return value;
}

std::optional<Time> parse_time(std::string_view text) {
  const std::optional<double> value = take_fraction(text);
  if (!value || *value > 1e6) {
    return std::nullopt;
  }
  if (text == "ms") {
    return from_seconds(*value / 1000);
  }
  if (text == "s") {
    return from_seconds(*value);
  }
  return text == "min" ? std::optional(from_seconds(*value * 60)) : std::nullopt;
}

// Words are separated by blanks; a colon ends a word and is one itself; quotes hold blanks
// together.
Words::Words(std::string_view line) {
  std::string word;
  bool quoted = false;
  const auto end_word = [&] {
    if (!word.empty()) {
      words_.push_back(std::exchange(word, {}));
    }
  };
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    const bool blank = c == ' ' || c == '\t' || c == '\r';
    const bool before_blank = i + 1 == line.size() || line.find_first_of(" \t\r", i) == i + 1;
    if (c == '"') {
      quoted = !quoted;
    } else if (quoted) {
      word += c;
    } else if (c == '#') {
      break;
    } else if (blank || (c == ':' && before_blank)) {
      end_word();
      if (c == ':') {
        words_.emplace_back(":");
      }
    } else {
      word += c;
    }
  }
  end_word();
  if (quoted) {
    fail("a closing quote");
  }
}

void Words::fail(const std::string& expected) {
  if (error_.empty()) {
    error_ = "expected " + expected;
    error_ += done() ? ", found the end of the line" : ", found \"" + words_[at_] + "\"";
  }
}

bool Words::take_if(std::string_view word) {
  const bool same = !done() && words_[at_] == word;
  at_ += same ? 1 : 0;
  return same;
}

std::string Words::take(const char* expected) {
  if (done()) {
    fail(expected);
    return {};
  }
  return words_[at_++];
}

int Words::number(const char* expected, int low, int high) {
  int value = 0;
  if (done() || !read_number(words_[at_], value) || value < low || value > high) {
    fail(std::string(expected) + " from " + std::to_string(low) + " to " + std::to_string(high));
    return low;
  }
  ++at_;
  return value;
}

double Words::percent(const char* expected) {
  double value = 0;
  const std::string word = peek();
  if (word.size() < 2 || word.back() != '%' ||
      !read_number(std::string_view(word).substr(0, word.size() - 1), value) ||
      !(value >= 0 && value <= 100)) {
    fail(expected);
    return 0;
  }
  ++at_;
  return value / 100;
}

Time Words::time() {
  const auto value = parse_time(peek());
  if (!value) {
    fail("a time such as 200ms, 5s or 10min");
    return {};
  }
  ++at_;
  return *value;
}

std::pair<std::string, std::string> Words::setting() {
  const std::string word = peek();
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) {
    fail("KEY=VALUE");
    return {};
  }
  ++at_;
  return {word.substr(0, equals), word.substr(equals + 1)};
}

}  // namespace lab
