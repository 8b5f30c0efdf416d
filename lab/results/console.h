// What the user sees of a run: a line of words for each step of the story where standard output is
// no terminal, one live line per unit where it is one, and the table at the end of both.
#ifndef LAB_CONSOLE_H
#define LAB_CONSOLE_H

#include <string>
#include <vector>

#include "story/director.h"

namespace lab {

struct Terminal {
  std::size_t columns = 80;
  std::size_t rows = 24;
};

struct Console {
  bool live = false;
  bool quiet = false;     // a machine reads the result
  std::size_t lines = 0;  // of the live display that stand on the terminal
};

void console_notices(const Console& console, const Happening& seen);
void draw_live(Console& console, const Story& story);
// As many lines as the terminal holds: where there are more units, those that are in go first.
std::vector<std::string> live_lines(const Story& story, const Terminal& size);
// The table, what was expected, and the files; or the same as one JSON document.
void print_result(Console& console, const Story& story, int exit_status, const std::string& folder);

}  // namespace lab

#endif
