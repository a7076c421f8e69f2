#include "src/window/while_painting.h"

#include <wx/busyinfo.h>
#include <wx/evtloop.h>
#include <wx/timer.h>
#include <wx/utils.h>

#include <chrono>
#include <future>
#include <optional>

namespace kovgui {

namespace {

using namespace std::chrono_literals;

constexpr auto at_once = 50ms;  // nobody sees a window wait so long
constexpr int look_ms = 20;

int works = 0;  // one within another

struct Running {
    Running() { ++works; }
    ~Running() { --works; }
};

}  // namespace

bool paintingWorkRuns() {
    return works > 0;
}

int runWhilePainting(const std::function<int()>& work, wxWindow* parent, const wxString& notice) {
    const Running running;
    std::future<int> result = std::async(std::launch::async, work);
    if (result.wait_for(at_once) == std::future_status::ready) return result.get();
    const wxWindowDisabler disabled;
    // After the other windows are disabled: its text is to be read. One text with markup: beside a title of
    // its own the text gets no room.
    std::optional<wxBusyInfo> info;
    if (!notice.empty())
        info.emplace(wxBusyInfoFlags().Parent(parent).Text("<big><b>Wait...</b></big>\n\n" + notice));
    const wxBusyCursor busy;
    wxGUIEventLoop loop;
    wxTimer timer;
    timer.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        if (loop.IsRunning() && result.wait_for(0s) == std::future_status::ready) loop.Exit();
    });
    timer.Start(look_ms);
    loop.Run();
    return result.get();
}

}  // namespace kovgui
