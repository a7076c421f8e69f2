#include "src/Application.h"

wxIMPLEMENT_APP_NO_MAIN(kovgui::Application);

int main(int argc, char** argv) {
    if (kovgui::Application::printedHelp(argc, argv)) return 0;
    return wxEntry(argc, argv);
}
