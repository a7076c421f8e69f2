#include <gmock/gmock.h>
#include <wx/app.h>
#include <wx/config.h>
#include <wx/log.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "src/Application.h"
#include "tests/gui/display.h"

namespace {

/// The application without a window of its own: each test makes the one that it looks at.
class TestApplication : public kovgui::Application {
public:
    bool OnInit() override { return true; }
};

/// A home that nothing of the person running the tests reaches, nor the other way round.
struct TemporaryHome {
    TemporaryHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "oabr-gui-XXXXXX").string();
        path = mkdtemp(pattern.data());
        setenv("HOME", path.c_str(), 1);
        setenv("XDG_CONFIG_HOME", path.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", path.c_str(), 1);
        // GTK keeps the picture of an icon for each colour that a fade passes through.
        std::filesystem::create_directory(path + "/gtk-3.0");
        std::ofstream(path + "/gtk-3.0/settings.ini") << "[Settings]\ngtk-enable-animations=0\n";
        setenv("OABR_VIRTUAL_ONLY", "1", 1);
        setenv("OABR_VIRTUAL_DEVICES", (path + "/devices").c_str(), 1);
        setenv("OABR_STATE_DIR", (path + "/state").c_str(), 1);
    }
    ~TemporaryHome() { std::filesystem::remove_all(path); }
    std::string path;
};

}  // namespace

/// Fonts stay loaded to the end of the process.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig";
}

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    const TemporaryHome home;
    const TestDisplay display;
    wxApp::SetInstance(new TestApplication);
    if (!wxEntryStart(argc, argv) || !wxTheApp->CallOnInit()) return 1;
    const int result = RUN_ALL_TESTS();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return result;
}
