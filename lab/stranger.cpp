#include "stranger.h"

#include "lab.h"

namespace lab {

void start_flood(Lab&, Node&, int) {}

}  // namespace lab
