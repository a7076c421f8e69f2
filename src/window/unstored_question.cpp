#include "src/window/unstored_question.h"

#include <wx/msgdlg.h>

namespace kovgui {

UnstoredQuestion closingQuestion(bool can_store) {
    return {"The modified settings have not been saved...\n Sure you want to quit without store to device?",
            "Exclamation", can_store, "&Yes", "&No"};
}

Unstored askUnstored(wxWindow* parent, const UnstoredQuestion& question) {
    // The toolkit's message boxes have one button beside those of a question, and call it help.
    wxMessageDialog box(
        parent, question.text, question.title,
        wxYES_NO | wxNO_DEFAULT | wxICON_EXCLAMATION | wxCENTRE | (question.can_store ? wxHELP : 0));
    box.SetYesNoLabels(question.go_on, question.cancel);
    if (question.can_store) box.SetHelpLabel("&Store and go on");
    switch (box.ShowModal()) {
        case wxID_HELP:
            return Unstored::store;
        case wxID_YES:
            return Unstored::leave;
        default:
            return Unstored::cancel;
    }
}

}  // namespace kovgui
