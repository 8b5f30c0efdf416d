// Another program, run for what it prints.
#ifndef LAB_PROGRAM_H
#define LAB_PROGRAM_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

// What it prints when given `input`; nothing, with errno set, where it cannot be started or is not
// done in time. May be called on any thread; the child may be reaped by whoever waits for children.
std::optional<std::string> output_of(const std::vector<std::string>& words, std::string_view input,
                                     int seconds);

}  // namespace lab

#endif
