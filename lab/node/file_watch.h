// Follows what a unit writes: its NVRAM, its list of candidates and its debug log, as they change.
#ifndef LAB_FILE_WATCH_H
#define LAB_FILE_WATCH_H

namespace lab {

struct Mesh;
struct Node;

void begin_watching(Mesh& mesh);
// False, with errno set, where a folder of the unit cannot be watched.
bool watch_files(Mesh& mesh, Node& node);
// Publishes what has come to the unit's log since.
void read_log(Mesh& mesh, Node& node);

}  // namespace lab

#endif
