#include "src/Application.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/cli/OKVXConsole.h"
#include "src/platform/Interrupts.h"

wxIMPLEMENT_APP_NO_MAIN(kovgui::Application);

namespace {

/// Ends what may still run when the windows have gone.
struct EndOfProgram {
    ~EndOfProgram() {
        kovgui::cli::OKVXConsole::stopAndWait();
        kovgui::oabr::OABRDevice::instance()->disconnect();
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (kovgui::Application::printedHelp(argc, argv)) return 0;
    kovgui::platform::ignoreBrokenPipes();
    const EndOfProgram end;
    return wxEntry(argc, argv);
}
