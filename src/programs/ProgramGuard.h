#pragma once

#include <wx/init.h>

namespace kovgui {

/// What a program without a display owns for as long as it runs: the toolkit, its log on our way, broken
/// pipes as mere failures. At its end it stops what uses the device and disconnects, so that no thread
/// outlives main.
class ProgramGuard {
public:
    ProgramGuard();
    ~ProgramGuard();
    ProgramGuard(const ProgramGuard&) = delete;
    ProgramGuard& operator=(const ProgramGuard&) = delete;

private:
    wxInitializer toolkit_;
};

}  // namespace kovgui
