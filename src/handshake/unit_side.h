// The un-configured unit's half of the handshake, from its element to the credentials.
//
// One timer drives it: at stage 1 operation 1000 is resent every 5 seconds, at stage 3 operation
// 1002, six times each, and then the unit gives up; at stage 5 it waits 15 minutes. Frames are
// taken from any station, since the unit has no key yet to know its base by. A repeated operation
// 1001 is served at every stage; operation 1004 counts at stage 3 only.
#ifndef VORLENT_HANDSHAKE_UNIT_SIDE_H
#define VORLENT_HANDSHAKE_UNIT_SIDE_H

#include "core/context.h"
#include "handshake/action_frame.h"

// Arms the timer of a stage in place of the one that runs, and notes both; logs as `speaker`.
void arm_handshake_timer(const char* speaker, HandshakeStage stage);

// Sends the unit's element to the base in `target`. Returns 0.
int act_op_1000_sender();

// The base's key: stores it and answers with the unit's own, encrypted. A key that does not fit is
// dropped. Returns 0.
int act_op_1001_handler(const ActionFramePayload& payload, const char* sta);

// Sends the unit's element and public key, encrypted with the base's key, to the base in `target`,
// whatever `sta` says; with length 0 when that key is not usable. Returns 0.
int act_op_1002_sender(const char* sta);

// The credentials: stores them in `target` and changes to a temporary satellite. No data, or no
// private key to read them with, counts as empty credentials; a frame that is encrypted for another
// key, or whose content breaks a bound, is dropped and changes nothing. Returns 0.
int act_op_1003_handler(const ActionFramePayload& payload, const char* sta);

// The base asks for patience: once, at stage 3, the wait becomes 15 minutes. Returns 0.
int act_op_1004_handler(const ActionFramePayload& payload, const char* sta);

// Makes the handshake timer of the present stage again; a row of the mode table.
void rearm_handshake();

// Timer callbacks: send operation 1000 or 1002 again.
void act_op_1000_sender_retry(int timer_fd);
void act_op_1002_sender_retry(int timer_fd);

// Timer callback: the handshake has failed, back to the search.
void timer_cb_act_handshake_expired(int timer_fd);

#endif
