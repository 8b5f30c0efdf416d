// The base's half of the handshake: it answers a candidate's operations and pushes the credentials.
//
// A station must be in the candidate table before the base answers it. No handler looks at the
// stage a station is in: the unit resends what gets no answer, and a repeated operation is served
// again. The base keeps no timer, and does not notice a frame that was not sent.
#ifndef VORLENT_HANDSHAKE_BASE_SIDE_H
#define VORLENT_HANDSHAKE_BASE_SIDE_H

#include "handshake/action_frame.h"

// A unit says hello: checks its element and answers with the base's key. Returns 0 when the answer
// was sent, otherwise -1.
int act_op_1000_handler(const ActionFramePayload& payload, const char* sta);

// Sends the base's public key to `sta`; with length 0 when the key file cannot be read. Returns 0.
int act_op_1001_sender(const char* sta);

// A unit's element and key, encrypted: stores the key and tells the unit to wait. A wrong element
// removes the station; a content that breaks a bound leaves it as it was. The candidate file is
// written in any case. Returns 0.
int act_op_1002_handler(const ActionFramePayload& payload, const char* sta);

// The push: sends the credentials, in table order, to every candidate whose key is there and that
// the platform lists, whatever its stage; then deletes the candidate file and empties the table.
// With settings that no unit could hold nothing is sent and everything stays for the next push.
// Returns 0.
int act_op_1003_sender();

// Tells the station `sta` to wait up to 15 minutes for its credentials. Returns 0.
int act_op_1004_sender(const char* sta);

// Sends operation 1004 to every candidate, in table order.
void extend_all_candidates();

#endif
