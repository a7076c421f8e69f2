#pragma once

#include <wx/dialog.h>
#include <wx/modalhook.h>
#include <wx/weakref.h>

#include <functional>
#include <vector>

namespace kovgui {

/// Knows the modal boxes and dialogs that wait for an answer, so that the end of the program need not wait
/// for one. For the GUI thread.
class ModalBoxes : private wxModalDialogHook {
public:
    ModalBoxes() { Register(); }
    ~ModalBoxes() override { Unregister(); }

    /// One is about to open.
    std::function<void()> on_open;

    bool open() const;
    /// Answers those that are open with a cancel; they are gone when the event loop has come round.
    /// @return whether one was open
    bool cancel();

private:
    int Enter(wxDialog* dialog) override;
    void Exit(wxDialog* dialog) override;

    std::vector<wxWeakRef<wxDialog>> open_;
};

/// Cancels a dialog that is shown as a modal one by the toolkit or by the system.
void cancelBox(wxDialog* dialog);

}  // namespace kovgui
