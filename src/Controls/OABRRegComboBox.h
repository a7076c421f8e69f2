#pragma once

#include <wx/choice.h>

#include <optional>

#include "src/Controls/OABRControl.h"

namespace kovgui::controls {

/// A setting with a choice of values.
class OABRRegComboBox : public wxChoice, public OABRControl {
public:
    /// @param label   what the choice is called where it is not seen; on the page it has a label before it
    /// @param parent  the window that the choice stands in, where that is not the page itself
    OABRRegComboBox(OABRControlFrame* owner, int id, const wxString& label, const wxPoint& position,
                    const wxSize& size, wxWindow* parent = nullptr);

    using wxChoice::Append;
    /// Adds an item for each pair.
    void Append(const ValuePair* pairs, int count);

    int getWXID() const override { return GetId(); }
    wxString shownText() const override { return GetStringSelection(); }
    /// That of the selected item.
    std::optional<int> shownValue() const override;
    /// Selects the first item with the value, if there is one.
    void showValue(int value) override;
    wxString textOf(int value) const override;
    void showNothing() override { SetSelection(wxNOT_FOUND); }

private:
    int valueOf(unsigned item) const;
};

}  // namespace kovgui::controls
