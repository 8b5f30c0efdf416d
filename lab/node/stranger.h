// The stranger: a station that belongs to nobody and sends, at a steady rate, what no station
// should send, to bases and units in turn, in its own name and in others'.
//
// It keeps to what a sound receiver can survive: malformed frames of every kind in anybody's name,
// and whole ones that a receiver has grounds to refuse. The handshake signs nothing, so a whole key
// or an empty set of credentials in the base's name is believed by whoever waits for one; no
// receiver can tell, and such frames are left out. For the same reason the stations that it makes
// up are few: a base's table holds fifteen, and does not ask who they are.
#ifndef LAB_STRANGER_H
#define LAB_STRANGER_H

namespace lab {

struct Mesh;
struct Node;

// `rate` frames a second from now on; 0 ends it.
void start_flood(Mesh& mesh, Node& stranger, int rate);

}  // namespace lab

#endif
