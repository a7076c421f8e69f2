#pragma once

#include <wx/frame.h>
#include <wx/timer.h>

#include <memory>
#include <vector>

#include "src/models/CanIdentifierList.h"
#include "src/models/CanTraceLog.h"
#include "src/models/CanTraceRecorder.h"

namespace kovgui::controls {
class RowList;
}
class wxButton;
class wxCheckBox;
class wxListCtrl;
class wxTextCtrl;
class wxToggleButton;

namespace kovgui {

/// What the device hears on the CAN bus, as it comes and by identifier. Closing puts the window away: it goes
/// with its owner. What it has recorded stays when the device goes away, and recording goes on when one comes
/// back. For the GUI thread only.
class CanTraceWindow : public wxFrame {
public:
    enum Id { ID_START = 1600, ID_PAUSE, ID_CLEAR, ID_SAVE, ID_FILTER, ID_RECORD, ID_IDENTIFIERS };

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
    /// Writes the lines shown, in the place of an old file, unless the operator stops it.
    /// @return why it could not, for the operator; empty when nothing went wrong
    [[nodiscard]] std::string save(const wxString& path);
    /// Writes all that comes to a file from now on, whatever the list shows, until it is told to stop.
    /// @return whether that began
    bool record(const wxString& path);
    void stopRecord();
    /// What the page knows of the controller: a sleeping one hears nothing.
    void setControllerMode(uint8_t mode);
    const oabr::CanTraceLog& log() const { return log_; }
    /// What the view by identifier shows.
    const std::vector<oabr::CanIdentifier>& identifiers() const { return rows_; }

private:
    void build();
    wxWindow* buildIdentifiers(wxWindow* book);
    wxString identifierText(size_t row, size_t column) const;
    wxString recordText() const;
    void lookAfterRecord();
    void OnRecord();
    bool enable();
    void ended();
    void take();
    void lookAtController();
    void showRows();
    void showState();
    void OnFilter();
    void OnSave();

    oabr::CanTraceLog log_;
    oabr::CanIdentifierList by_identifier_;
    std::vector<oabr::CanIdentifier> rows_;  // of it, that are shown
    oabr::CanTraceRecorder recorder_;
    wxString record_name_;
    const std::shared_ptr<oabr::CanTraceQueue> queue_ = std::make_shared<oabr::CanTraceQueue>();
    wxTimer timer_;
    bool connected_ = false;
    bool wanted_ = false;   // the operator has started it
    bool running_ = false;  // the device sends
    size_t lost_ = 0;       // came faster than they were taken
    bool asleep_ = false;   // the controller, when that was last heard
    int quiet_ms_ = 0;      // since something came, or the controller was looked at
    wxString error_;

    wxListCtrl* list_ = nullptr;
    wxButton* start_ = nullptr;
    wxToggleButton* pause_ = nullptr;
    wxTextCtrl* filter_ = nullptr;
    wxCheckBox* follow_ = nullptr;
    wxToggleButton* record_ = nullptr;
    controls::RowList* identifiers_ = nullptr;
};

}  // namespace kovgui
