// What the daemon says again and again, once: blocks.template holds each such block in full, under
// a line that stands for it elsewhere, with %names for what differs.
//
// A block is folded only if every byte of it is as written there and its line gives back the same
// values, so a line that begins with "= " says as much as the block. Whatever else stands raw.
#ifndef VORLENT_TESTS_FOLDED_H
#define VORLENT_TESTS_FOLDED_H

#include <string>
#include <vector>

// The lines of a transcript for these events: folded; those that begin with the same word joined
// by "; "; a line feed as \n, or as "    | " on a line of its own where the line would get long.
std::string folded(std::vector<std::string> events);

#endif
