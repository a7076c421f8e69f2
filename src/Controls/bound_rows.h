#pragma once

#include <wx/sizer.h>
#include <wx/statbox.h>

#include <span>

#include "src/Controls/OABRControlFrame.h"
#include "src/Controls/OABRRegCheckBox.h"
#include "src/Controls/OABRRegComboBox.h"
#include "src/Controls/OABRRegStaticText.h"

namespace kovgui::controls {

/// One setting of a page: how it is called, what it can be and its device functions.
struct SettingRow {
    int id;             ///< also says where its turn comes when all of a page are read or written
    const char* label;  ///< with its mnemonic; L, S and X belong to the menu
    const char* tooltip;
    std::span<const OABRControl::ValuePair> values;
    int (*get)(int*) = nullptr;
    int (*set)(int) = nullptr;
    // Of the setting that is set: where it stands in the settings.
    settings::Value settings::PortSettings::*setting = nullptr;
    int port = 0;
};

/// A box with a title, whose rows are a label and a control each.
class RowBox {
public:
    /// @param parent  the window that the box stands in, where that is not the page itself
    RowBox(OABRControlFrame* page, const wxString& title, wxWindow* parent = nullptr);

    wxStaticBoxSizer* sizer() const { return box_; }
    wxWindow* window() const { return box_->GetStaticBox(); }

    OABRRegComboBox* addChoice(const SettingRow& row);
    /// A state that is only shown.
    OABRRegStaticText* addState(const SettingRow& row);
    /// A box that is checked for the first of the row's two values and not checked for the second.
    OABRRegCheckBox* addCheckBox(const SettingRow& row);
    /// The label of the row that was added last.
    wxStaticText* lastLabel() const { return last_label_; }

private:
    void addLabel(const SettingRow& row);

    OABRControlFrame* const page_;
    wxStaticBoxSizer* const box_;
    wxFlexGridSizer* const grid_;
    wxStaticText* last_label_ = nullptr;
};

}  // namespace kovgui::controls
