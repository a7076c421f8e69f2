#pragma once

#include <cstdio>

namespace kovgui::platform {

/// Takes standard output for the caller alone: what anybody else prints there goes to standard error from now
/// on. Once for each process.
/// @return the stream to print on; null when standard output is closed
std::FILE* takeStandardOutput();

}  // namespace kovgui::platform
