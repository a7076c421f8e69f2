#include "src/cli/CLIDialog.h"

#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "src/base/utilities.h"
#include "src/cli/interpreter.h"
#include "src/platform/CapturedOutput.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui::cli {

CLIDialog::CLIDialog(wxWindow* parent)
    : wxDialog(parent, wxID_ANY, "OABR Korvex Command Line Interface", wxDefaultPosition, wxDefaultSize,
               wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER | wxMAXIMIZE_BOX, "cliDialog") {
    entry_ = new wxTextCtrl(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxTE_PROCESS_ENTER,
                            wxDefaultValidator, "cliEntry");
    output_ = new wxTextCtrl(this, wxID_ANY, "", wxDefaultPosition, FromDIP(wxSize(640, 360)),
                             wxTE_MULTILINE | wxTE_READONLY | wxTE_DONTWRAP, wxDefaultValidator, "cliOutput");
    output_->SetFont(wxFont(wxFontInfo().Family(wxFONTFAMILY_TELETYPE)));
    setAccessibleName(output_, "Output");

    const int gap = FromDIP(8);
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    auto* label = new wxStaticText(this, wxID_ANY, "C&ommand:");
    label->MoveBeforeInTabOrder(entry_);
    line->Add(label, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(entry_, wxSizerFlags(1).CenterVertical());
    auto* close = new wxButton(this, wxID_CLOSE);
    auto* content = new wxBoxSizer(wxVERTICAL);
    entry_->SetHint("help lists the commands, the up key brings earlier lines back");
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));
    content->Add(output_, wxSizerFlags(1).Expand().Border(wxLEFT | wxRIGHT, gap));
    content->Add(close, wxSizerFlags().Right().Border(wxALL, gap));
    SetSizerAndFit(content);
    SetEscapeId(wxID_CLOSE);

    entry_->SetFocus();
    entry_->Bind(wxEVT_TEXT_ENTER, &CLIDialog::OnEnter, this);
    entry_->Bind(wxEVT_KEY_DOWN, &CLIDialog::OnKey, this);
    close->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Close(); });
    // Modeless: a closed dialog has nothing more to do.
    Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent&) { Destroy(); });
}

void CLIDialog::append(const std::string& text) {
    output_->AppendText(wxString::FromUTF8(printable(text)));
}

void CLIDialog::putLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = printedList(format, arguments);
    va_end(arguments);
    append(text + "\n");
}

void CLIDialog::OnKey(wxKeyEvent& event) {
    const bool up = event.GetKeyCode() == WXK_UP;
    if (event.HasAnyModifiers() || (!up && event.GetKeyCode() != WXK_DOWN)) return event.Skip();
    if (up ? line_ == 0 : line_ == lines_.size()) return;
    if (line_ == lines_.size()) typed_ = entry_->GetValue();
    line_ += up ? size_t{0} - 1 : 1;
    entry_->ChangeValue(line_ == lines_.size() ? typed_ : lines_[line_]);
    entry_->SetInsertionPointEnd();
}

void CLIDialog::OnEnter(wxCommandEvent&) {
    const std::string line = entry_->GetValue().utf8_string();
    if (!entry_->IsEmpty() && (lines_.empty() || lines_.back() != entry_->GetValue()))
        lines_.push_back(entry_->GetValue());
    line_ = lines_.size();
    typed_.clear();
    entry_->Clear();
    putLine("# %s", line.c_str());
    platform::CapturedOutput captured;
    if (!runWhilePainting(this, {}, [&line](Work&) { runDialogLine(line); }))
        putLine("The device is busy; try again.");
    const std::string answer = captured.finish();
    append(answer);
    readOut(this, wxString::FromUTF8(printable(answer)));
    entry_->SetFocus();
}

}  // namespace kovgui::cli
