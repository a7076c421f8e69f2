#pragma once

#include <cstdlib>
#include <string>

#include "tests/support/temporary_directory.h"

namespace kovgui {

/// A place of its own for what is remembered of devices.
class StatePlace {
public:
    StatePlace() { setenv("OABR_STATE_DIR", path().c_str(), 1); }
    ~StatePlace() { unsetenv("OABR_STATE_DIR"); }
    std::string path() const { return directory_.path() + "/state"; }

private:
    sim_process::TemporaryDirectory directory_;
};

}  // namespace kovgui
