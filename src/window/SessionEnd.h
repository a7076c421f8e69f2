#pragma once

#include <functional>
#include <memory>

namespace kovgui {

/// Hears when the desktop session is to end, by a log-out for instance, for as long as it lives. For the GUI
/// thread. Where the system asks the windows itself it does nothing.
class SessionEnd {
public:
    /// @param may_end  asks what is to be asked before; false keeps the session going
    /// @param end      the session ends now
    SessionEnd(std::function<bool()> may_end, std::function<void()> end);
    ~SessionEnd();
    SessionEnd(const SessionEnd&) = delete;
    SessionEnd& operator=(const SessionEnd&) = delete;

private:
    class Client;
    std::unique_ptr<Client> client_;
};

}  // namespace kovgui
