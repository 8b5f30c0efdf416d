// The run's record on disk: `air.pcapng`, `timeline.json` and what the report is made from.
//
// A write that fails (a full disk, usually) ends the run: half a record that looks whole is worse
// than none.
#ifndef LAB_RECORDER_H
#define LAB_RECORDER_H

#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "node/mesh.h"
#include "results/pcapng.h"

namespace lab {

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

// A packet waits a moment for what becomes of its frame, which its comment is to say.
struct HeldPacket {
  unsigned interface;
  std::uint64_t stamp;
  Bytes bytes;
  std::string comment;
  std::uint64_t frame;  // 0: none
  std::chrono::steady_clock::time_point since;
};

// Lines of a unit's log that came at the same moment.
struct LogPiece {
  const Node* node = nullptr;
  Time time{};
  std::string text;
};

struct Recorder {
  std::string folder;
  Pcapng air;
  std::deque<HeldPacket> held;
  File timeline;
  bool first_entry = true;
  std::vector<std::string> told;  // entries of the timeline that the page shows
  std::function<void(const std::string& entry)> teller;  // learns of each of them, or none
  std::map<std::string, std::pair<int, int>> kinds;      // frames sent and lost, by kind
  LogPiece log;                                          // not yet told to the page
  std::map<const Node*, std::size_t> logged;             // bytes of log on the page
};

// False, with errno set, where the file cannot be written.
bool write_file(const std::string& path, std::string_view text);

// Empty on success, otherwise what went wrong, in one line.
std::string open_record(Recorder& recorder, const std::string& folder);
void record(Recorder& recorder, const Mesh& mesh, const Happening& seen);
// Whether something could not be written.
bool record_failed(const Recorder& recorder);
// Finishes the files and puts each unit's NVRAM and logs beside them; the same in return.
std::string close_record(Recorder& recorder, Mesh& mesh);
// That a file of the results could not be written, for the reason in errno.
std::string no_write(const Recorder& recorder, const char* file);

}  // namespace lab

#endif
