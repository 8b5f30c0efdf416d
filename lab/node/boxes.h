// All boxes together: they are made ready and ended, and that one has ended is noticed.
#ifndef LAB_BOXES_H
#define LAB_BOXES_H

namespace lab {

struct Mesh;
struct Node;

// False, with errno set, where a folder cannot be made or watched.
bool prepare_boxes(Mesh& mesh);
bool prepare_box(Mesh& mesh, Node& node);
// Called when children of this process may have ended.
void collect_boxes(Mesh& mesh);
// Ends every box and waits until nothing of them is left.
void end_boxes(Mesh& mesh);

}  // namespace lab

#endif
