// From a driver event to the handler of the operation that its action frame carries.
//
// The dispatch knows operations only through the mode table: what a mode does not list is logged
// and dropped. It keeps nothing between frames and checks neither the sender nor the stage of the
// handshake; that is the handlers' business.
#ifndef VORLENT_HANDSHAKE_ACTION_FRAME_DISPATCH_H
#define VORLENT_HANDSHAKE_ACTION_FRAME_DISPATCH_H

#include "core/driver_event.h"

// True for the body of a vendor specific public action frame, whoever the vendor.
bool is_vendor_public_action(ByteView frame);

// Parses the frame of an event for which is_vendor_public_action holds and runs the handler of its
// operation; `sta` is the sender's STA text. Returns the handler's result, or -1.
int parse_act_frame(const DriverEventMsg& event, const char* sta);

#endif
