#include "tests/gui/gui_fixture.h"

#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/msgdlg.h>
#include <wx/timer.h>
#include <wx/toolbar.h>

#include <memory>

#include "src/window/while_painting.h"

namespace {

constexpr int poll_ms = 5;

class Poll : public wxTimer {
public:
    explicit Poll(const std::function<void()>& look) : look_(look) { Start(poll_ms); }
    void Notify() override { look_(); }

private:
    const std::function<void()>& look_;
};

}  // namespace

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    bool held = condition();
    if (held) return true;
    wxGUIEventLoop loop;
    const std::function<void()> look = [&] {
        if (!loop.IsRunning() || wxEventLoopBase::GetActive() != &loop)
            return;  // a loop inside this one runs
        held = condition();
        if (held || std::chrono::steady_clock::now() > end) loop.Exit();
    };
    const Poll poll(look);
    loop.Run();
    return held;
}

void drainEvents() {
    bool reached = false;
    wxTheApp->CallAfter([&reached] { reached = true; });
    waitFor([&reached] { return reached; });
}

bool Answers::shown(const std::string& title) const {
    for (const Box& box : boxes_) {
        if (box.title == title) return true;
    }
    return false;
}

int Answers::Enter(wxDialog* dialog) {
    Box box{dialog->GetTitle().utf8_string(), ""};
    if (const auto* message = dynamic_cast<wxMessageDialogBase*>(dialog)) {
        const wxString more = message->GetExtendedMessage();
        box = {message->GetCaption().utf8_string(),
               (message->GetMessage() + (more.empty() ? "" : "\n" + more)).utf8_string()};
    }
    boxes_.push_back(box);
    if (answers_.empty()) return wxID_CANCEL;
    const auto answer = std::move(answers_.front());
    answers_.pop_front();
    return answer(dialog);
}

void send(wxEventType type, wxWindow* from, int value) {
    wxCommandEvent event(type, from->GetId());
    event.SetEventObject(from);
    event.SetInt(value);
    from->ProcessWindowEvent(event);
}

void command(wxFrame& frame, int id) {
    const bool is_tool = frame.GetToolBar()->FindById(id) != nullptr;
    if (is_tool) {
        ASSERT_TRUE(waitFor([&] { return frame.GetToolBar()->GetToolEnabled(id); }))
            << "tool " << id << " is disabled";
    }
    const auto done = std::make_shared<bool>(false);
    kovgui::whenNoWorkRuns(&frame, [&frame, id, done] {
        wxCommandEvent event(wxEVT_MENU, id);
        frame.ProcessWindowEvent(event);
        *done = true;
    });
    EXPECT_TRUE(waitFor([&] { return *done; }));
    drainEvents();
}
