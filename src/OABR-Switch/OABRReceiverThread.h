#pragma once

#include <wx/thread.h>

namespace kovgui::oabr {

/// The thread that reads the line of the device connection. Joinable.
class OABRReceiverThread : public wxThread {
public:
    OABRReceiverThread() : wxThread(wxTHREAD_JOINABLE) {}

protected:
    ExitCode Entry() override;
    void OnExit() override {}
};

}  // namespace kovgui::oabr
