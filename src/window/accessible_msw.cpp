#include "src/window/accessible.h"

#include <wx/gauge.h>
#include <wx/msw/wrapwin.h>
#include <wx/progdlg.h>
#include <wx/stattext.h>

namespace kovgui {
namespace {

struct Described : wxClientData {
    Described(wxString called, std::unique_ptr<AccessibleContent> shown)
        : name(std::move(called)), content(std::move(shown)) {}
    const wxString name;
    const std::unique_ptr<AccessibleContent> content;
};

}  // namespace

/// The system's accessibility server reads a window's own text where nothing else names it.
void setAccessibleName(wxWindow* control, const wxString& name) {
    control->SetName(name);
}

/// The group box is said by the system itself.
void setAccessibleLabels(wxWindow*, std::initializer_list<wxWindow*>) {}

/// The system takes the text before a control that has none of its own for its label.
void setNoLabel(wxWindow* text) {
    if (dynamic_cast<wxStaticText*>(text) == nullptr) return;
    const wxWindowList& siblings = text->GetParent()->GetChildren();
    if (siblings.GetLast()->GetData() != text) text->MoveAfterInTabOrder(siblings.GetLast()->GetData());
}

/// The system reads the tools' own texts.
void nameToolsByHelp(wxWindow*) {}

void readOut(wxWindow* about, const wxString& text) {
    about->SetName(text);
    ::NotifyWinEvent(EVENT_SYSTEM_ALERT, static_cast<HWND>(about->GetHandle()), OBJID_CLIENT, CHILDID_SELF);
}

void readOutChanges(wxStaticText* text) {
    text->Bind(wxEVT_UPDATE_UI, [text, last = text->GetLabel()](wxUpdateUIEvent& event) mutable {
        event.Skip();
        if (text->GetLabel() == last) return;
        last = text->GetLabel();
        readOut(text, last);
    });
}

void readOutProgress(wxProgressDialog*) {}

/// The native lists tell of their rows themselves; of the rest, the name says where the cursor is.
void describeContent(wxWindow* drawn, const wxString& name, std::unique_ptr<AccessibleContent> content) {
    setAccessibleName(drawn, name);
    drawn->SetClientObject(new Described(name, std::move(content)));
}

void contentCursorMoved(wxWindow* drawn) {
    const auto* described = static_cast<Described*>(drawn->GetClientObject());
    if (described == nullptr || described->content->cursor() == AccessibleContent::nowhere) return;
    readOut(drawn, described->name + ", " + described->content->text(described->content->cursor()));
}

void contentChanged(wxWindow* drawn, const AccessibleContent::Cell&) {
    contentCursorMoved(drawn);
}

}  // namespace kovgui
