// The verdicts of vorlent-why, a program of its own, on the units' logs, for the page.
#ifndef LAB_VORLENT_WHY_H
#define LAB_VORLENT_WHY_H

#include <string>
#include <vector>

#include "results/json.h"

namespace lab {

// On the logs of these units, UNIT.log in `folder`: a record for each, by unit, or "trouble" with
// what went wrong. `tools` is the folder where vorlent-why may be; if not, it is looked for on
// PATH.
Json why_of_results(const std::string& tools, const std::string& folder,
                    const std::vector<std::string>& units);
// The same of one unit that lives in the folder `box`, as JSON.
std::string why_of_box(const std::string& tools, const std::string& box);

}  // namespace lab

#endif
