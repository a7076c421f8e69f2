#include "src/models/Reconnect.h"

#include <algorithm>

namespace kovgui {

void Reconnect::lost(const std::string& serial) {
    serial_ = serial;
    tries_ = 0;
}

std::string Reconnect::due(const std::vector<std::string>& attached) {
    if (!wanted_ || serial_.empty()) return {};
    if (std::find(attached.begin(), attached.end(), serial_) == attached.end()) {
        tries_ = 0;
        return {};
    }
    return tries_ < max_tries ? serial_ : std::string();
}

bool Reconnect::failed() {
    return ++tries_ < max_tries;
}

}  // namespace kovgui
