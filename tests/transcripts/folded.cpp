#include "transcripts/folded.h"

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "support/files.h"

namespace {

constexpr std::size_t WIDTH = 100;

using Values = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

struct Block {
  std::string head;
  Lines lines;
};

// A line up to the word that it shares with those joined to it.
std::string beginning(const std::string& line) {
  const std::size_t space = line.find(' ', line.compare(0, 2, "= ") == 0 ? 2 : 0);
  return space == std::string::npos ? "" : line.substr(0, space + 1);
}

std::vector<Block> read_blocks() {
  std::vector<Block> blocks;
  std::istringstream file(read_file(TRANSCRIPTS "/blocks.template"));
  for (std::string line; std::getline(file, line);) {
    if (line[0] == '=') {
      blocks.push_back({line, {}});
    } else if (line[0] == ' ') {
      line = std::regex_replace(line.substr(2), std::regex(R"(\\n)"), "\n");
      const std::string first = beginning(line);
      for (std::size_t at; (at = line.find("; ")) != std::string::npos;) {
        blocks.back().lines.push_back(line.substr(0, at));
        line.replace(0, at + 2, first);
      }
      blocks.back().lines.push_back(line);
    }
  }
  return blocks;
}

// The pieces of a pattern: text, and %names whose value is not known yet.
Lines pieces_of(const std::string& pattern, const Values& known) {
  static const std::regex name("%([a-z]+)");
  Lines pieces = {""};
  auto at = pattern.begin();
  for (std::smatch found; std::regex_search(at, pattern.end(), found, name);) {
    pieces.back().append(at, found[0].first);
    if (const auto value = known.find(found[1]); value != known.end()) {
      pieces.back() += value->second;
    } else {
      pieces.insert(pieces.end(), {found[1], ""});
    }
    at = found[0].second;
  }
  pieces.back().append(at, pattern.end());
  return pieces;
}

// Whether the text is the pattern; adds the values that make it so.
bool matches(const std::string& pattern, const std::string& text, Values& values) {
  const Lines pieces = pieces_of(pattern, values);
  std::size_t at = pieces[0].size();
  if (text.compare(0, at, pieces[0]) != 0) {
    return false;
  }
  for (std::size_t i = 1; i < pieces.size(); i += 2) {
    const std::string& next = pieces[i + 1];
    const bool last = i + 2 == pieces.size();
    const std::size_t end =
        last ? text.size() - std::min(text.size(), next.size()) : text.find(next, at);
    if (end == std::string::npos || end < at || text.compare(end, next.size(), next) != 0 ||
        values.emplace(pieces[i], text.substr(at, end - at)).first->second !=
            text.substr(at, end - at)) {
      return false;
    }
    at = end + next.size();
  }
  return at == text.size();
}

void fold(Lines& events, const Block& block) {
  for (std::size_t at = 0; at + block.lines.size() <= events.size(); ++at) {
    const auto first = events.begin() + static_cast<std::ptrdiff_t>(at);
    Values values;
    Values back;
    if (std::equal(
            block.lines.begin(), block.lines.end(), first,
            [&](const auto& line, const auto& event) { return matches(line, event, values); })) {
      const std::string head = pieces_of(block.head, values)[0];
      if (matches(block.head, head, back) && back == values) {
        *first = head;
        events.erase(first + 1, first + static_cast<std::ptrdiff_t>(block.lines.size()));
      }
    }
  }
}

}  // namespace

std::string folded(std::vector<std::string> events) {
  static const std::vector<Block> blocks = read_blocks();
  std::for_each(blocks.begin(), blocks.end(), [&](const Block& block) { fold(events, block); });
  std::string told;
  std::string joined;  // what the present line begins with, if another can join it
  std::size_t length = 0;
  for (const std::string& event : events) {
    const bool breaks = event.find('\n') != std::string::npos;
    std::string line = std::regex_replace(event, std::regex("\n"), R"(\n)");
    const bool fits = line.size() + 2 <= WIDTH;
    if (!fits && breaks) {
      line = std::regex_replace(event, std::regex("\n"), "\n    | ");
    }
    const std::string first = beginning(line);
    const bool joins = (fits || !breaks) && line.find("; ") == std::string::npos;
    if (joins && !first.empty() && first == joined &&
        length + 2 + line.size() - first.size() <= WIDTH) {
      told += "; " + line.substr(first.size());
      length += 2 + line.size() - first.size();
      continue;
    }
    told += (told.empty() ? "  " : "\n  ") + line;
    joined = joins ? first : "";
    length = line.size() + 2;
  }
  return told.empty() ? "" : told + '\n';
}
