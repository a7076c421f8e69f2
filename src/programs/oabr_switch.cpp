#include "src/Application.h"
#include "src/platform/Interrupts.h"
#include "src/platform/UnblockedOutput.h"

wxIMPLEMENT_APP_NO_MAIN(kovgui::Application);

int main(int argc, char** argv) {
    if (kovgui::Application::printedHelp(argc, argv)) return 0;
    kovgui::platform::ignoreBrokenPipes();
    const kovgui::platform::UnblockedOutput output;
    return wxEntry(argc, argv);
}
