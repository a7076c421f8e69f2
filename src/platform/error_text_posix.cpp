#include <cerrno>
#include <system_error>

#include "src/platform/error_text.h"

namespace kovgui::platform {

std::string lastErrorText() {
    return std::generic_category().message(errno);
}

}  // namespace kovgui::platform
