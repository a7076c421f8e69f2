#pragma once

#include <cstdio>

#include "src/platform/event.h"

namespace kovgui::platform {

/// Whether a person reads standard error as it is written.
bool standardErrorIsTerminal();
/// Whether a person can be asked on standard input.
bool standardInputIsTerminal();

/// Waits until a stream takes a line without waiting, or fails to at once: until whoever reads there goes on.
/// @param stop  ends the wait when it is set; null only looks
/// @return      false when it was stopped, or would have to wait
bool waitUntilTaken(std::FILE* stream, Event* stop);

}  // namespace kovgui::platform
