// The stranger: a station that belongs to nobody and sends, at a steady rate, what no station
// should send, to the bases and the units in turn.
#ifndef LAB_STRANGER_H
#define LAB_STRANGER_H

namespace lab {

struct Lab;
struct Node;

// `rate` frames a second from now on; 0 ends it.
void start_flood(Lab& lab, Node& stranger, int rate);

}  // namespace lab

#endif
