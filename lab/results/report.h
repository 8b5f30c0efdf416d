// The run as one page of HTML that needs nothing but a browser: a sequence chart of the handshakes,
// each unit's modes over time, frames by kind. The page is a template (page/template.html, which
// the build makes part of the program) with the run's data in it as JSON.
#ifndef LAB_REPORT_H
#define LAB_REPORT_H

#include "results/recorder.h"
#include "story/director.h"

namespace lab {

// Empty on success, otherwise what went wrong, in one line.
std::string write_report(const Recorder& recorder, const Story& story, bool as_expected);

}  // namespace lab

#endif
