#include "nvram_text.h"

#include <cstddef>

namespace standin {

namespace {

// Takes the first line off `text`, its line feed included; the last line may have none.
std::string_view take_line(std::string_view& text) {
  const std::size_t feed = text.find('\n');
  const std::string_view line =
      text.substr(0, feed == std::string_view::npos ? text.size() : feed + 1);
  text.remove_prefix(line.size());
  return line;
}

bool is_line_of(std::string_view line, std::string_view key) {
  return line.size() > key.size() && line[key.size()] == '=' && line.substr(0, key.size()) == key;
}

std::string unescape(std::string_view written) {
  std::string value;
  value.reserve(written.size());
  for (std::size_t i = 0; i < written.size() && written[i] != '\0'; ++i) {
    const char next = i + 1 < written.size() ? written[i + 1] : '\0';
    if (written[i] == '\\' && (next == '\\' || next == 'n')) {
      value += next == 'n' ? '\n' : '\\';
      ++i;
    } else {
      value += written[i];
    }
  }
  return value;
}

void append_line(std::string& text, std::string_view key, std::string_view value) {
  text += key;
  text += '=';
  for (const char character : value) {
    if (character == '\\') {
      text += "\\\\";
    } else if (character == '\n') {
      text += "\\n";
    } else {
      text += character;
    }
  }
  text += '\n';
}

// Copies `text` without the lines of `key`; `place` is where in the copy the last of them stood,
// or the end of the copy when there was none.
std::string cut_key(std::string_view text, std::string_view key, std::size_t& place) {
  std::string rest;
  rest.reserve(text.size());
  place = std::string::npos;
  while (!text.empty()) {
    const std::string_view line = take_line(text);
    if (is_line_of(line, key)) {
      place = rest.size();
    } else {
      rest += line;
    }
  }
  if (place == std::string::npos) {
    place = rest.size();
  }
  return rest;
}

}  // namespace

bool valid_key(std::string_view key) {
  return !key.empty() && key.find_first_of("=\n") == std::string_view::npos;
}

Values parse_values(std::string_view text) {
  Values values;
  while (!text.empty()) {
    std::string_view line = take_line(text);
    if (line.back() == '\n') {
      line.remove_suffix(1);
    }
    const std::size_t equals = line.find('=');
    if (equals != std::string_view::npos && equals > 0) {
      values.insert_or_assign(std::string(line.substr(0, equals)),
                              unescape(line.substr(equals + 1)));
    }
  }
  return values;
}

std::string format_values(const Values& values) {
  std::string text;
  for (const auto& [key, value] : values) {
    append_line(text, key, value);
  }
  return text;
}

std::string with_value(std::string_view text, std::string_view key, std::string_view value) {
  std::size_t place = 0;
  std::string changed = cut_key(text, key, place);
  std::string line;
  if (place > 0 && changed[place - 1] != '\n') {
    line = '\n';  // The last line of the file was not ended.
  }
  append_line(line, key, value);
  changed.insert(place, line);
  return changed;
}

std::string without_key(std::string_view text, std::string_view key) {
  std::size_t place = 0;
  return cut_key(text, key, place);
}

}  // namespace standin
