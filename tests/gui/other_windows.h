#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>

#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/MainFrame.h"
#include "src/cli/CLIDialog.h"
#include "src/window/HelpViewer.h"

namespace kovgui {

/// Has a look at every window that the main window can open.
inline void lookAtOtherWindows(MainFrame* frame, const std::function<void(wxWindow*)>& look) {
    XmlConfigDialog files(frame, "Save XML Config");
    VlanEntryDialog entry(frame, "Add VLAN", {}, [](int) { return true; });
    auto* console = new cli::CLIDialog(frame);
    auto* trace = new CanTraceWindow(frame, true);
    auto* help = HelpViewer::create(frame);
    for (wxWindow* window : std::initializer_list<wxWindow*>{&files, &entry, console, trace, help}) {
        SCOPED_TRACE(window->GetLabel().utf8_string());
        look(window);
    }
}

}  // namespace kovgui
