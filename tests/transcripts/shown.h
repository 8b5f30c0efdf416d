// How bytes are written in a transcript: what is fresh in each run under a name of its own, what
// cannot be seen escaped. The rest stands as it is.
//
//   <own key>, <peer key>    a public key in PEM; "in hex", "in JSON", "in bytes" in those forms,
//                            "end of" in a second block
//   <sealed for peer: ...>   ciphertext in a command, decrypted by an implementation of its own
//   <the data>               the dump of the data of the frame that was just sent
//   <timer 3>, <fd>          descriptors; timers are counted as they are made
//   <N zeros>                at least 32 hexadecimal zeros in a row
//   \s \c                    a space at the end of a line; no line feed at the end
#ifndef VORLENT_TESTS_SHOWN_H
#define VORLENT_TESTS_SHOWN_H

#include <string>

#include "support/air.h"

// The lines of one event, `prefix` before the first.
std::string shown(const std::string& prefix, const std::string& text, const air::Bytes& frame_data);

// The daemon's state on one line; what is 0 or empty is not named.
std::string state_shown();

#endif
