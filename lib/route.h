#pragma once

#include <cstdint>

#include "lib/comm_obj.h"

/// The object that waits for a reply of this type and command, or null when none does. Pure look-up, safe on
/// the receiver thread. The pair 0xF1/0x4B (mode set) has no object, so that request always times out.
comm_obj* reply_object(uint8_t type, uint8_t command);

/// Hands a received frame to the request that waits for it, if any does, on the receiver thread.
/// @return false when the frame is no reply to a request
bool route_reply(const uint8_t* frame, uint16_t length);
