#include "src/window/log_start.h"

#include <wx/app.h>
#include <wx/datetime.h>
#include <wx/ffile.h>
#include <wx/frame.h>
#include <wx/log.h>
#include <wx/textctrl.h>
#include <wx/thread.h>
#include <wx/weakref.h>

#include <memory>

#include "src/base/log.h"
#include "src/window/accessible.h"
#include "src/window/device_text.h"

namespace kovgui {
namespace {

const wxSize log_window_size(800, 480);

wxFFile& logFile() {
    static auto* const file = new wxFFile;  // lines may come until the process ends
    return *file;
}

wxString withoutLineEnd(const std::string& text) {
    const size_t end = text.find_last_not_of("\r\n");
    return deviceText(std::string_view(text).substr(0, end == std::string::npos ? 0 : end + 1));
}

wxString timedLine(const LogRecord& record) {
    return wxDateTime::UNow().Format("%H:%M:%S") + ": " + withoutLineEnd(record.text);
}

/// The toolkit's log window, reached by our sink alone: the toolkit's own messages take the way of all
/// others. It goes with its frame, a child of the window that it was opened for.
class LogWindow : public wxLogWindow {
public:
    explicit LogWindow(wxWindow* parent) : wxLogWindow(parent, "LogWindow", true, false) {
        GetFrame()->SetSize(log_window_size);
        for (wxWindow* child : GetFrame()->GetChildren())
            if (auto* const lines = dynamic_cast<wxTextCtrl*>(child)) setAccessibleName(lines, "Log");
    }
    void showLine(const wxString& line) { DoLogTextAtLevel(wxLOG_Message, line); }

private:
    void OnFrameDelete(wxFrame* frame) override {
        wxLogWindow::OnFrameDelete(frame);
        wxLog* const active = wxLog::GetActiveTarget();  // which the end of any log takes away
        delete this;
        wxLog::SetActiveTarget(active);
    }
};

LogWindow* openLogWindow(wxWindow* parent) {
    wxLog* const before = wxLog::GetActiveTarget();
    auto* window = new LogWindow(parent);
    window->DetachOldLog();
    wxLog::SetActiveTarget(before);
    return window;
}

void writeToFile(const wxString& line) {
    logFile().Write(line + "\n");
    logFile().Flush();
}

/// A sink is copied, so what it reaches is shared: the frame may go before the last line comes.
struct WindowSink {
    LogWindow* window;
    wxWeakRef<wxFrame> frame;

    void show(const wxString& line) const {
        if (frame) window->showLine(line);
    }
};

}  // namespace

void log_start(wxWindow* parent, const wxFileName* file, int level) {
    const bool to_file = file != nullptr && [file] {
        const wxLogNull quiet;
        return logFile().Open(file->GetFullPath(), "wt");
    }();
    std::shared_ptr<WindowSink> shown;
    if (parent != nullptr) {
        LogWindow* window = openLogWindow(parent);
        shown.reset(new WindowSink{window, window->GetFrame()});
    }
    if (to_file || shown) {
        setLogSink([to_file, shown](const LogRecord& record) {
            const wxString line = timedLine(record);
            if (to_file) writeToFile(line);
            if (!shown) return;
            if (wxThread::IsMain())
                shown->show(line);
            else
                wxTheApp->CallAfter([shown, line] { shown->show(line); });
        });
    }
    setLogLevel(parent != nullptr || file != nullptr ? level : log_fatal_error);
}

void log_stop() {
    setLogSink([](const LogRecord&) {});
    wxLog::EnableLogging(false);  // on another thread than the main one: of that thread
    if (!logFile().IsOpened()) return;
    logFile().Flush();
    logFile().Close();
}

}  // namespace kovgui
