#pragma once

#include <wx/frame.h>
#include <wx/timer.h>

#include <memory>

#include "src/models/CanTraceLog.h"

class wxButton;
class wxCheckBox;
class wxListCtrl;
class wxTextCtrl;
class wxToggleButton;

namespace kovgui {

/// What the device hears on the CAN bus, as it comes. Closing puts the window away: it goes with its owner.
/// What it has recorded stays when the device goes away, and recording goes on when one comes back. For the
/// GUI thread only.
class CanTraceWindow : public wxFrame {
public:
    enum Id { ID_START = 1600, ID_PAUSE, ID_CLEAR, ID_SAVE, ID_FILTER };

    /// @param owner      a top window
    /// @param connected  whether a device is
    CanTraceWindow(wxWindow* owner, bool connected);
    ~CanTraceWindow() override;

    /// A device is connected now, or none is any more.
    void setConnected(bool connected);
    /// Stops and takes the window away: for when its owner closes.
    void shutDown();

    void start();
    void stop();
    /// Writes the lines shown.
    /// @return whether that succeeded
    bool save(const wxString& path) const;
    const oabr::CanTraceLog& log() const { return log_; }

private:
    void build();
    bool enable();
    void take();
    void showRows();
    void showState();
    void OnFilter();
    void OnSave();

    oabr::CanTraceLog log_;
    const std::shared_ptr<oabr::CanTraceQueue> queue_ = std::make_shared<oabr::CanTraceQueue>();
    wxTimer timer_;
    bool connected_ = false;
    bool wanted_ = false;   // the operator has started it
    bool running_ = false;  // the device sends
    size_t lost_ = 0;       // came faster than they were taken
    wxString error_;

    wxListCtrl* list_ = nullptr;
    wxButton* start_ = nullptr;
    wxToggleButton* pause_ = nullptr;
    wxTextCtrl* filter_ = nullptr;
    wxCheckBox* follow_ = nullptr;
};

}  // namespace kovgui
