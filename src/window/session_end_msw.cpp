#include "src/window/SessionEnd.h"

namespace kovgui {

class SessionEnd::Client {};

/// The toolkit closes the main window when the system asks, which asks the operator.
SessionEnd::SessionEnd(std::function<bool()>, std::function<void()>) {}
SessionEnd::~SessionEnd() = default;

}  // namespace kovgui
