#include "src/window/ModalBoxes.h"

namespace kovgui {

int ModalBoxes::Enter(wxDialog* dialog) {
    open_.emplace_back(dialog);
    return wxID_NONE;  // to be shown
}

void ModalBoxes::Exit(wxDialog* dialog) {
    std::erase_if(open_, [dialog](const auto& one) { return one == dialog; });
}

bool ModalBoxes::cancel() {
    std::erase_if(open_, [](const auto& one) { return one == nullptr; });
    for (const auto& one : open_)
        cancelBox(one);
    return !open_.empty();
}

}  // namespace kovgui
