#pragma once

#include <string>

#include "src/ftdi/ftd2xx.h"

namespace kovgui::c45 {

/// What a converter's status means to the operator and what to do about it, as whole sentences.
std::string statusText(ftdi::FT_STATUS status);

}  // namespace kovgui::c45
