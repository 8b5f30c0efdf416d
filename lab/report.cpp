#include "report.h"

namespace lab {

bool write_report(Lab&) {
  return true;
}

}  // namespace lab
