// What starting a window costs in any case: a frame with one text.

#include <wx/app.h>
#include <wx/frame.h>
#include <wx/stattext.h>

class BareApplication : public wxApp {
public:
    bool OnInit() override {
        auto* frame = new wxFrame(nullptr, wxID_ANY, "Bare frame", wxDefaultPosition, wxSize(1000, 700));
        new wxStaticText(frame, wxID_ANY, "One text");
        frame->Show();
        return true;
    }
};

wxIMPLEMENT_APP(BareApplication);
