// A unit's NVRAM as a file: read, changed and saved by the platform's documented rules (key=value
// lines, backslash and line feed escaped, whole-file replacement under a lock beside the file).
#ifndef LAB_NVRAM_FILE_H
#define LAB_NVRAM_FILE_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

using Settings = std::map<std::string, std::string>;
using Change = std::pair<std::string, std::optional<std::string>>;  // no value: removed

Settings parse_nvram(std::string_view text);
std::string format_nvram(const Settings& settings);

// None where the file cannot be read.
std::optional<std::string> read_file(const std::string& path);
// Replaces the file in one step, so that nobody sees half of it.
bool replace_file(const std::string& path, std::string_view text);

// Whether a store is whole: every line ended and with a key, and the mark that the factory set.
bool is_whole(std::string_view text);

bool change_nvram(const std::string& path, const std::vector<Change>& changes);
bool save_nvram(const std::string& path);

}  // namespace lab

#endif
