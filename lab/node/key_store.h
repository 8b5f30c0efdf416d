// A store of ready key pairs: a folder of PEM files, made once, from which the daemons of many runs
// get theirs in place of making them.
#ifndef LAB_KEY_STORE_H
#define LAB_KEY_STORE_H

#include <string>

namespace lab {

inline constexpr int kMaxPairs = 9999;

// How many pairs the store holds.
int count_pairs(const std::string& store);
// Makes those that the store lacks up to `count`. Returns what went wrong, or nothing.
std::string make_pairs(const std::string& store, int count);

}  // namespace lab

#endif
