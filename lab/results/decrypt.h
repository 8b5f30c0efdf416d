// What operations 1002 and 1003 of a finished run hold: unit keys and credentials.
//
// They are opened with the private keys that the daemons printed when they made them, which the
// run's folder has in each station's UNIT.stdout.
#ifndef LAB_DECRYPT_H
#define LAB_DECRYPT_H

#include <string>

namespace lab {

// Puts the contents of what was sent to or by `unit`, or by all where it is empty, into `told`, and
// returns why that cannot be done.
std::string decrypt_run(const std::string& folder, const std::string& unit, std::string& told);

}  // namespace lab

#endif
