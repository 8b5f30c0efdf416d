// The run's record on disk: `air.pcapng`, `timeline.json` and what the report is made from.
//
// A write that fails (a full disk, usually) ends the run: half a record that looks whole is worse
// than none.
#ifndef LAB_RECORDER_H
#define LAB_RECORDER_H

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "air/air.h"
#include "results/pcapng.h"

namespace lab {

struct Lab;
struct Node;
struct Occurrence;

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

// A handshake frame, for the chart.
struct ChartFrame {
  Time time;
  const Node* from;
  const Node* to;
  int operation;
  bool resent;
  bool lost;
  std::string note;
};

struct ModeChange {
  Time time;
  const Node* node;
  int mode;
};

struct Recorder {
  std::string folder;
  Pcapng air;
  File timeline;
  bool first_entry = true;
  std::vector<ChartFrame> chart;
  std::vector<ModeChange> modes;
  std::map<std::string, std::pair<int, int>> kinds;  // frames sent and lost, by kind
};

// False, with errno set, where the file cannot be written.
bool write_file(const std::string& path, std::string_view text);

// Empty on success, otherwise what went wrong, in one line.
std::string open_record(Recorder& recorder, const std::string& folder);
void record_transmission(Lab& lab, const Transmission& sent);
void record_event(Lab& lab, const Node& node, View datagram);
void record(Lab& lab, const Occurrence& seen);
// Finishes the files, writes the report and puts each unit's NVRAM and logs beside them.
std::string close_record(Lab& lab);

}  // namespace lab

#endif
