// How the status and the candidates are printed: for a person, or as JSON.
#ifndef VORLENTCTL_PRINTING_H
#define VORLENTCTL_PRINTING_H

#include <vector>

#include "candidates.h"
#include "status.h"

namespace ctl {

// False where the JSON could not be printed.
bool print_status(const Status& status, bool json);
bool print_candidates(const std::vector<Candidate>& candidates, bool json);

}  // namespace ctl

#endif
