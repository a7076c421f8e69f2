#pragma once

#include <cstdio>
#include <string>

namespace kovgui::platform {

/// Sends what the process prints on standard output and standard error to a temporary file for as long as it
/// lives, so that a window can show it. One at a time; what other threads print meanwhile lands there as
/// well.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// Ends the capture.
    /// @return what was printed, in the order of printing; empty where no temporary file could be made
    std::string finish();

private:
    std::FILE* file_;
    int saved_out_ = -1;
    int saved_err_ = -1;
};

}  // namespace kovgui::platform
