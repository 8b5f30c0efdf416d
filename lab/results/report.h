// The run as one page of HTML that needs nothing but a browser: a sequence chart of the handshakes,
// each unit's modes over time, frames by kind. The page is a template (page/template.html, which
// the build makes part of the program) with the run's data in it as JSON.
#ifndef LAB_REPORT_H
#define LAB_REPORT_H

namespace lab {

struct Lab;

// False, with errno set, where the file cannot be written.
bool write_report(Lab& lab);

}  // namespace lab

#endif
