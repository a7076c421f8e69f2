#include "src/window/ReadableStatusBar.h"

#include <wx/frame.h>

#include "src/window/accessible.h"

namespace kovgui {
namespace {

class Fields : public AccessibleContent {
public:
    explicit Fields(const wxStatusBar* bar) : bar_(*bar) {}

    Kind kind() const override { return Kind::status_bar; }
    int rows() const override { return 1; }
    int columns() const override { return bar_.GetFieldsCount(); }
    wxString text(const Cell& cell) const override { return bar_.GetStatusText(cell.column); }
    wxRect place(const Cell& cell) const override {
        wxRect place;
        bar_.GetFieldRect(cell.column, place);
        place.SetPosition(bar_.ClientToScreen(place.GetPosition()));
        return place;
    }

private:
    const wxStatusBar& bar_;
};

}  // namespace

ReadableStatusBar::ReadableStatusBar(wxFrame* parent, int fields, int spoken, const wxString& name)
    : wxStatusBar(parent, wxID_ANY, wxSTB_DEFAULT_STYLE, name), spoken_(spoken) {
    SetFieldsCount(fields);
    describeContent(this, "Status", std::make_unique<Fields>(this));
}

void ReadableStatusBar::DoUpdateStatusText(int field) {
    wxStatusBar::DoUpdateStatusText(field);
    contentChanged(this, {0, field});
    if (field == spoken_) CallAfter(&ReadableStatusBar::say);
}

void ReadableStatusBar::say() {
    const wxString text = GetStatusText(spoken_);
    if (text.empty() || text == said_ || !IsShownOnScreen()) return;
    said_ = text;
    readOut(this, text);
}

}  // namespace kovgui
