#include "src/ConfigDlg/PortBasedVlanTab.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include <algorithm>

#include "src/Controls/MessageText.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui {

using oabr::Send;

namespace {

constexpr int gap_px = 8;

struct ActionLook {
    const char* label;
    const char* tooltip;
};
constexpr ActionLook action_looks[PortBasedVlanTab::actions] = {
    {"All", "Checks all boxes"},
    {"None", "Clears all boxes but that of the port to itself"},
    {"Invert", "Checks what is clear and clears what is checked, but for the port to itself"},
};

wxWindow* heading(wxWindow* parent, const wxString& text) {
    auto* heading = new wxStaticText(parent, wxID_ANY, text);
    setNoLabel(heading);
    return heading;
}

/// Where the matrix shows a port.
int placeOf(int port) {
    return static_cast<int>(std::ranges::find(ports_as_shown, port) - ports_as_shown.begin());
}

bool acted(PortBasedVlanTab::Action action, bool on, bool same_port) {
    if (action == PortBasedVlanTab::act_all) return true;
    if (same_port) return on;
    return action == PortBasedVlanTab::act_invert && !on;
}

}  // namespace

// ---- Content ----

PortBasedVlanTab::PortBasedVlanTab(wxWindow* parent) : OABRControlFrame(parent, "Port Based VLAN") {
    const int gap = FromDIP(gap_px);
    auto* box = new wxStaticBoxSizer(wxVERTICAL, this, "Forwarding between ports");
    wxWindow* inside = box->GetStaticBox();
    box->Add(heading(inside, "A row is the port where frames come in, a column a port to which they may go."),
             wxSizerFlags().Border(wxALL, gap));
    box->Add(buildMatrix(inside), wxSizerFlags().Border(wxALL, gap));
    status_ = new controls::MessageText(this, "portVlanStatus");
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(box, wxSizerFlags().Border(wxALL, gap));
    content->AddStretchSpacer();
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(status_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, gap));
    line->Add(makeReadButton(), wxSizerFlags().CenterVertical());
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));
    SetSizer(content);

    Bind(wxEVT_CHAR_HOOK, &PortBasedVlanTab::OnArrow, this);
}

wxSizer* PortBasedVlanTab::buildMatrix(wxWindow* parent) {
    const int gap = FromDIP(gap_px);
    const wxSizerFlags centred = wxSizerFlags().Center();
    auto* grid = new wxFlexGridSizer(port_count + 2, FromDIP(wxSize(2 * gap_px, gap_px)));
    grid->Add(heading(parent, "From \\ To"), wxSizerFlags().CenterVertical());
    for (const int output : ports_as_shown)
        grid->Add(heading(parent, port_name(output)), centred);
    grid->AddSpacer(0);

    for (const int input : ports_as_shown) {
        grid->Add(heading(parent, port_name(input)), wxSizerFlags().CenterVertical());
        for (const int output : ports_as_shown) {
            const wxString name = wxString("From ") + port_name(input) + " to " + port_name(output);
            auto* one = new wxCheckBox(parent, boxId(input, output), "", wxDefaultPosition, wxDefaultSize, 0,
                                       wxDefaultValidator, name);
            setAccessibleName(one, name);
            one->SetToolTip(
                input == output ? name + ": normally checked; no frame goes back where it came from" : name);
            boxes_[port_index(input)][port_index(output)] = one;
            grid->Add(one, centred);
        }
        auto* line = new wxBoxSizer(wxHORIZONTAL);
        for (int action = 0; action < actions; ++action)
            line->Add(addAction(parent, static_cast<Action>(action), {input, any_port}),
                      wxSizerFlags().Border(wxLEFT, gap / 2));
        grid->Add(line, wxSizerFlags().CenterVertical());
    }
    for (int action = 0; action < actions; ++action) {
        grid->AddSpacer(0);
        for (const int output : ports_as_shown)
            grid->Add(addAction(parent, static_cast<Action>(action), {any_port, output}),
                      wxSizerFlags().Expand());
        grid->AddSpacer(0);
    }
    return grid;
}

wxWindow* PortBasedVlanTab::addAction(wxWindow* parent, Action action, Line line) {
    const ActionLook& look = action_looks[action];
    const bool row = line.input != any_port;
    const wxString of =
        row ? wxString("from ") + port_name(line.input) : wxString("to ") + port_name(line.output);
    auto* button =
        new wxButton(parent, row ? inputActionId(line.input, action) : outputActionId(line.output, action),
                     look.label, wxDefaultPosition, FromDIP(wxSize(64, -1)));
    setAccessibleName(button, wxString(look.label) + " " + of);
    button->SetToolTip(wxString(look.tooltip) + " " + of);
    button->Bind(wxEVT_BUTTON, [this, action, line](wxCommandEvent&) { act(action, line); });
    return button;
}

/// The arrow keys go to the next box in their direction.
void PortBasedVlanTab::OnArrow(wxKeyEvent& event) {
    const int index = (wxWindow::FindFocus() ? wxWindow::FindFocus()->GetId() : wxID_ANY) - ID_BOX;
    const int key = event.GetKeyCode();
    const int down = (key == WXK_DOWN) - (key == WXK_UP);
    const int right = (key == WXK_RIGHT) - (key == WXK_LEFT);
    if (index < 0 || index >= port_count * port_count || event.HasAnyModifiers() || (down == 0 && right == 0))
        return event.Skip();
    const int row = placeOf(index / port_count + 1) + down;
    const int column = placeOf(index % port_count + 1) + right;
    if (std::clamp(row, 0, port_count - 1) != row || std::clamp(column, 0, port_count - 1) != column) return;
    box(ports_as_shown[static_cast<size_t>(row)], ports_as_shown[static_cast<size_t>(column)])->SetFocus();
}

// ---- What is shown ----

PortBasedVlanTab::Matrix PortBasedVlanTab::matrix() const {
    Matrix matrix{};
    for (int input = 1; input <= port_count; ++input) {
        for (int output = 1; output <= port_count; ++output)
            matrix[port_index(input)] |= box(input, output)->GetValue() ? port_bit(output) : 0;
    }
    return matrix;
}

void PortBasedVlanTab::show(const Matrix& matrix) {
    for (int input = 1; input <= port_count; ++input) {
        for (int output = 1; output <= port_count; ++output)
            box(input, output)->SetValue(holds_port(matrix[port_index(input)], output));
    }
}

void PortBasedVlanTab::say(const wxString& failure) {
    failure_ = failure;
    status_->say(failure.empty() ? storedText(heldSettings()) : failure, !failure.empty());
}

// ---- Edits ----

void PortBasedVlanTab::OnValueChangedEvent(wxCommandEvent& event) {
    const int index = event.GetId() - ID_BOX;
    if (index < 0 || index >= port_count * port_count) return event.Skip();
    write(Send::changes);
}

void PortBasedVlanTab::act(Action action, Line line) {
    for (int input = 1; input <= port_count; ++input) {
        for (int output = 1; output <= port_count; ++output) {
            wxCheckBox* const one = box(input, output);
            if (input == line.input || output == line.output)
                one->SetValue(acted(action, one->GetValue(), input == output));
        }
    }
    write(Send::changes);
}

// ---- The device ----

/// Writes what is shown, and shows what the device holds then.
void PortBasedVlanTab::write(Send what) {
    using Taken = oabr::Written::Taken;
    const bool was_read = !needsRead();
    const Activity activity(this, "Writing");
    if (!activity) {
        if (was_read) show(device_);
        return say(activity.refusal());
    }
    const settings::Settings before = heldSettings();
    const Matrix held = device_, wanted = matrix();
    auto taken = Taken::unknown;
    {
        const auto job = oabr::DeviceUse::take(userName());
        const bool ran = runWhilePainting(this, {}, [&](Work&) {
            taken = writePortVlansToDevice(wanted, &device_, needsRead() ? Send::everything : what);
        });
        if (!ran) taken = Taken::unknown;
    }
    show(device_);
    if (device_ != held) noteChange();
    if (taken == Taken::unknown) {
        setNeedsRead(true);
        return say("The device did not answer: it may not have taken the change.");
    }
    say(taken == Taken::yes ? "" : "The device did not take all of the changes.");
    noteEdit("", before);
}

void PortBasedVlanTab::SetAllRegisters() {
    write(Send::everything);
}

void PortBasedVlanTab::ReadAllRegisters() {
    if (!needsRead() || workRuns()) return;
    const Activity activity(this, "Reading");
    if (!activity) return;
    Matrix read{};
    bool done = false;
    const auto job = oabr::DeviceUse::take(userName());
    const auto work = [&](Work&) { done = oabr::readPortVlansFromDevice(&read); };
    if (!runWhilePainting(this, {}, work) || !needsRead()) return;  // the device went away meanwhile
    if (!done) return say("The settings could not be read from the device.");
    device_ = read;
    setNeedsRead(false);
    show(device_);
    say("");
}

void PortBasedVlanTab::OnValuesChanged() {
    OABRControlFrame::OnValuesChanged();
    say("");
}

settings::Settings PortBasedVlanTab::settingsOf(const Matrix& matrix) {
    settings::Settings settings;
    for (const device_port& port : device_ports)
        settings.port(port.number).forward = matrix[port_index(port.number)];
    return settings;
}

settings::Settings PortBasedVlanTab::heldSettings() const {
    return needsRead() ? settings::Settings() : settingsOf(device_);
}

void PortBasedVlanTab::followDevice(const settings::Settings& now) {
    for (const device_port& port : device_ports)
        if (const auto& forward = now.port(port.number).forward)
            device_[port_index(port.number)] = static_cast<uint8_t>(*forward);
    show(device_);
    say(failure_);
}

}  // namespace kovgui
