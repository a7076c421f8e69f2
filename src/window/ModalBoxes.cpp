#include "src/window/ModalBoxes.h"

#include <algorithm>

namespace kovgui {

int ModalBoxes::Enter(wxDialog* dialog) {
    // Some end without a word, when another hook has answered for them.
    std::erase_if(open_, [](const auto& one) { return one == nullptr; });
    open_.emplace_back(dialog);
    if (on_open) on_open();
    // The first after one of the system's own comes up in the corner of the screen, and gets its size later.
    dialog->Bind(wxEVT_IDLE, [dialog](wxIdleEvent& event) {
        event.Skip();
        const bool has_size = dialog->GetSize().y > dialog->GetMinSize().y && dialog->GetSizer() != nullptr;
        if (has_size && dialog->GetPosition() == wxPoint(0, 0)) dialog->CentreOnParent();
    });
    return wxID_NONE;  // to be shown
}

void ModalBoxes::Exit(wxDialog* dialog) {
    std::erase_if(open_, [dialog](const auto& one) { return one == dialog; });
}

bool ModalBoxes::open() const {
    return std::any_of(open_.begin(), open_.end(), [](const auto& one) { return one != nullptr; });
}

bool ModalBoxes::cancel() {
    for (const auto& one : open_)
        if (one) cancelBox(one);
    return open();
}

}  // namespace kovgui
