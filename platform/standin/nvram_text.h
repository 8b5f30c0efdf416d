// The text form of the NVRAM store, as pure functions from text to text.
//
//   key=value LF     the key ends at the first '='; in the value  \\ is a backslash, \n a line feed
//
// - A line without '=', or with nothing before it, is no setting and is ignored. So is what stands
//   after a NUL in a value, which no caller could be given as a C text.
// - Where a key stands twice, the last line wins.
// - A backslash before any other character, or at the end of the line, stands for itself.
// - A carriage return is an ordinary character of the value.
// - A change touches the lines of its own key only. A person's notes between the settings, and
//   lines that make no sense, stay byte for byte: to write the parsed map back would lose them.
#ifndef STANDIN_NVRAM_TEXT_H
#define STANDIN_NVRAM_TEXT_H

#include <map>
#include <string>
#include <string_view>

namespace standin {

using Values = std::map<std::string, std::string, std::less<>>;

// A key is a text of at least one character, without '=' and line feed.
[[nodiscard]] bool valid_key(std::string_view key);

[[nodiscard]] Values parse_values(std::string_view text);

// One line for each value, sorted by key. All keys must be valid.
[[nodiscard]] std::string format_values(const Values& values);

// `text` with `key` set to `value`, on the line where it last stood or on a new one at the end.
[[nodiscard]] std::string with_value(std::string_view text, std::string_view key,
                                     std::string_view value);

// `text` without the lines of `key`.
[[nodiscard]] std::string without_key(std::string_view text, std::string_view key);

}  // namespace standin

#endif
