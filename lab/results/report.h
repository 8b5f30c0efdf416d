// The run as one page of HTML that needs nothing but a browser: the mesh as a picture at any
// moment, each unit's story, a sequence chart of the handshakes, modes over time, frames by kind.
// The page is a template (page/template.html, which the build makes part of the program) with JSON
// in it: the whole run, or only who is there, and then the page asks for a stream of what happens.
#ifndef LAB_REPORT_H
#define LAB_REPORT_H

#include "results/recorder.h"
#include "story/director.h"

namespace lab {

// The page that watches a run, and what it is told at the run's end, as JSON.
std::string live_page(const Story& story);
// `tools` is the folder of this program and its companions.
std::string result_of(const Recorder& recorder, const Story& story, int exit_status,
                      const std::string& tools);

// Empty on success, otherwise what went wrong, in one line.
std::string write_report(const Recorder& recorder, const std::string& result);

}  // namespace lab

#endif
