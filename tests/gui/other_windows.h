#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <utility>

#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigManager/LoadDifferenceDialog.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/MainFrame.h"
#include "src/cli/CLIDialog.h"
#include "src/window/HelpViewer.h"

namespace kovgui {

/// Has a look at every window that the main window can open.
inline void lookAtOtherWindows(MainFrame* frame, const std::function<void(wxWindow*)>& look) {
    XmlConfigDialog files(frame, "Save XML Config");
    VlanEntryDialog entry(frame, "Add VLAN", {}, [](int) { return true; });
    settings::LoadedFile file{settings::parseSetUp("[ports.OABR1]\nspeed = 100\n"), {}, ""};
    const settings::Difference difference = differenceOf({}, file.set_up.settings);
    LoadDifferenceDialog load(frame, LoadDifferenceDialog::Kind::load, "bench.toml",
                              {std::move(file), {}, difference, {}});
    auto* console = new cli::CLIDialog(frame);
    auto* trace = new CanTraceWindow(frame, true);
    auto* help = HelpViewer::create(frame);
    for (wxWindow* window : std::initializer_list<wxWindow*>{&files, &entry, &load, console, trace, help}) {
        SCOPED_TRACE(window->GetLabel().utf8_string());
        look(window);
    }
}

}  // namespace kovgui
