#pragma once

namespace kovgui::platform {

/// Whether a person reads standard error as it is written.
bool standardErrorIsTerminal();

}  // namespace kovgui::platform
