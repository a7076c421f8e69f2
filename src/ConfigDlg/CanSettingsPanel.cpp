#include "src/ConfigDlg/CanSettingsPanel.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/radiobut.h>
#include <wx/scrolwin.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/spinctrl.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>

#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/Controls/MessageText.h"
#include "src/models/can_device.h"
#include "src/models/settings_can.h"
#include "src/models/settings_diff.h"
#include "src/models/settings_records.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui {

using controls::messageColour;
using controls::plainLabel;
using oabr::betterTiming;
using oabr::calculatedRate;
using oabr::CanBlock;
using oabr::CanCheck;
using oabr::CanField;
using oabr::CanForm;
using oabr::describeOffer;
using oabr::describeTiming;
using oabr::Send;

namespace {

constexpr int gap_px = 6;
constexpr CanField identifier_fields[] = {CanField::filter1, CanField::filter2, CanField::mask};
constexpr CanField timing_fields[] = {
    CanField::phase_segment1,  CanField::phase_segment2, CanField::prescaler,
    CanField::sync_jump,       CanField::larger_phase,   CanField::own_phase,
    CanField::triple_sampling, CanField::wakeup_filter,  CanField::propagation};

template <size_t count>
bool isOneOf(CanField field, const CanField (&fields)[count]) {
    return std::find(std::begin(fields), std::end(fields), field) != std::end(fields);
}

template <size_t count>
wxArrayString labelsOf(const std::array<oabr::CanChoice, count>& choices) {
    wxArrayString labels;
    for (const oabr::CanChoice& choice : choices)
        labels.push_back(choice.label);
    return labels;
}

wxArrayString choicesOf(CanField field) {
    if (field == CanField::can_mode) return labelsOf(oabr::can_modes);
    if (field == CanField::wakeup_mode) return labelsOf(oabr::wakeup_modes);
    if (field != CanField::baud_rate) return {};
    wxArrayString labels;
    for (const oabr::CanRate& rate : oabr::can_rates)
        labels.push_back(rate.label);
    labels.push_back(oabr::can_custom_rate);
    return labels;
}

/// The label that a field has on the page.
wxString shownName(const wxWindow* control) {
    return plainLabel(control->GetLabel().empty() ? control->GetName() : control->GetLabel());
}

wxString valueText(const std::string& text) {
    return text == "true" ? "on" : text == "false" ? "off" : wxString::FromUTF8(text);
}

}  // namespace

// ---- Content ----

CanSettingsPanel::CanSettingsPanel(wxWindow* parent) : OABRControlFrame(parent, "Life Cycle Settings") {
    const int gap = FromDIP(gap_px);
    auto* scrolled = new wxScrolledWindow(this, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                          wxVSCROLL | wxHSCROLL | wxTAB_TRAVERSAL);
    scrolled->SetScrollRate(FromDIP(10), FromDIP(10));
    const wxSizerFlags flags = wxSizerFlags(1).Expand().Border(wxALL, gap);
    // Built in the order in which the tab key goes.
    auto* columns = new wxBoxSizer(wxHORIZONTAL);
    columns->Add(buildTiming(scrolled), flags);
    auto* right = new wxBoxSizer(wxVERTICAL);
    right->Add(buildLifeCycle(scrolled), wxSizerFlags().Expand().Border(wxBOTTOM, gap));
    right->Add(buildFilter(scrolled), wxSizerFlags().Expand());
    columns->Add(right, flags);

    const wxSizerFlags below = wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxBOTTOM, gap);
    timing_ = new wxStaticText(scrolled, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "canTiming");
    offer_ = new wxStaticText(scrolled, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "canOffer");
    setNoLabel(timing_);
    readOutChanges(offer_);
    use_exact_ = new wxButton(scrolled, ID_USE_EXACT, "&Use exact setting");
    use_exact_->SetToolTip("Takes the setting over that meets the rate");
    use_exact_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { useExact(); });
    auto* trace = new wxButton(scrolled, ID_TRACE, "CAN &Trace...");
    trace->SetToolTip("Shows what the device hears on the CAN bus");
    trace->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { openTrace(); });
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(timing_, wxSizerFlags(1).CenterVertical());
    line->Add(trace, wxSizerFlags().CenterVertical());
    auto* offer = new wxBoxSizer(wxHORIZONTAL);
    offer->Add(offer_, wxSizerFlags(1).CenterVertical());
    offer->Add(use_exact_, wxSizerFlags().CenterVertical());
    messages_ = new wxStaticText(scrolled, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "canMessages");
    readOutChanges(messages_);

    auto* inner = new wxBoxSizer(wxVERTICAL);
    inner->Add(columns, wxSizerFlags().Expand());
    for (wxBoxSizer* row : {line, offer})
        inner->Add(row, below);
    inner->Add(messages_, below);
    scrolled->SetSizer(inner);
    content_ = scrolled;
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(scrolled, wxSizerFlags(1).Expand());
    content->Add(makeReadButton(), wxSizerFlags().Right().Border(wxALL, gap));
    SetSizer(content);

    showForm(formOf(device_));
}

template <typename Control>
Control* CanSettingsPanel::enterField(CanField field, Control* control, const char* tooltip) {
    control->SetToolTip(tooltip);
    windows_[static_cast<size_t>(field)] = control;
    return control;
}

void CanSettingsPanel::addLabelled(wxSizer* grid, wxWindow* parent, const char* label, CanField field,
                                   const char* tooltip) {
    grid->Add(new wxStaticText(parent, wxID_ANY, label), wxSizerFlags().CenterVertical());
    const int id = idOf(field);
    const wxString name = plainLabel(label);
    wxWindow* control;
    if (const wxArrayString choices = choicesOf(field); !choices.empty()) {
        control =
            new wxChoice(parent, id, wxDefaultPosition, wxDefaultSize, choices, 0, wxDefaultValidator, name);
    } else if (isOneOf(field, timing_fields)) {
        const auto [minimum, maximum] = oabr::canRange(field);
        auto* spin = new wxSpinCtrl(parent, id, "", wxDefaultPosition, wxDefaultSize,
                                    wxSP_ARROW_KEYS | wxTE_PROCESS_ENTER, minimum, maximum, minimum, name);
        spin->Bind(wxEVT_SPINCTRL, [this, field](wxSpinEvent&) { edited(field); });
        control = spin;
    } else {
        control = new wxTextCtrl(parent, id, "", wxDefaultPosition, wxDefaultSize, wxTE_PROCESS_ENTER,
                                 wxDefaultValidator, name);
    }
    if (dynamic_cast<wxChoice*>(control) == nullptr) {
        control->Bind(wxEVT_TEXT, [this, field](wxCommandEvent&) { typed(field); });
        control->Bind(wxEVT_TEXT_ENTER, [this, field](wxCommandEvent&) { leftText(field); });
        control->Bind(wxEVT_KILL_FOCUS, [this, field](wxFocusEvent& event) {
            event.Skip();
            // Not within the handler: sending may take a while.
            whenNoWorkRuns(this, [this, field] { leftText(field); });
        });
    }
    setAccessibleName(control, name);
    grid->Add(enterField(field, control, tooltip), wxSizerFlags().Expand().CenterVertical());
}

namespace {

wxFlexGridSizer* addGrid(wxWindow* page, wxSizer* box) {
    auto* grid = new wxFlexGridSizer(2, page->FromDIP(wxSize(gap_px, gap_px)));
    grid->AddGrowableCol(1);
    box->Add(grid, wxSizerFlags().Expand().Border(wxALL, page->FromDIP(gap_px)));
    return grid;
}

}  // namespace

wxSizer* CanSettingsPanel::buildTiming(wxWindow* parent) {
    auto* box = new wxStaticBoxSizer(wxVERTICAL, parent, "CAN bit timing");
    wxWindow* inside = box->GetStaticBox();
    const wxSizerFlags below = wxSizerFlags().Border(wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(gap_px));
    wxFlexGridSizer* grid = addGrid(this, box);
    addLabelled(grid, inside, "Bit rat&e:", CanField::baud_rate,
                "Sets the fields below to the calculated setting of the rate");
    addLabelled(grid, inside, "&Prescaler:", CanField::prescaler,
                "A time quantum is twice as many periods of the 16 MHz clock");
    addLabelled(grid, inside, "Propa&gation delay:", CanField::propagation, "In time quanta");
    addLabelled(grid, inside, "Phase segment &1:", CanField::phase_segment1,
                "In time quanta; the bit is sampled behind it");
    addLabelled(grid, inside, "Phase segment &2:", CanField::phase_segment2, "In time quanta");
    addLabelled(grid, inside, "Sync &jump width:", CanField::sync_jump,
                "By how many time quanta a bit may be moved to follow the sender");

    auto* larger = new wxRadioButton(inside, idOf(CanField::larger_phase), "Phase 2 &as long as phase 1",
                                     wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    box->Add(enterField(CanField::larger_phase, larger,
                        "Phase segment 2 is as long as phase segment 1, and at least 2 time quanta"),
             below);
    auto* own = new wxRadioButton(inside, idOf(CanField::own_phase), "Phase 2 has its o&wn length");
    box->Add(enterField(CanField::own_phase, own, "Phase segment 2 is as long as its field says"), below);
    auto* triple = new wxCheckBox(inside, idOf(CanField::triple_sampling), "Sa&mple three times");
    box->Add(enterField(CanField::triple_sampling, triple, "Takes the majority of three samples of each bit"),
             below);

    return box;
}

wxSizer* CanSettingsPanel::buildLifeCycle(wxWindow* parent) {
    auto* box = new wxStaticBoxSizer(wxVERTICAL, parent, "Life cycle");
    wxWindow* inside = box->GetStaticBox();
    const wxSizerFlags below = wxSizerFlags().Border(wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(gap_px));
    wxFlexGridSizer* grid = addGrid(this, box);
    addLabelled(grid, inside, "CAN m&ode:", CanField::can_mode,
                "What the CAN controller does; a change takes a second");
    addLabelled(grid, inside, "Wa&ke-up mode:", CanField::wakeup_mode, "What wakes the device");
    addLabelled(grid, inside, "Traffic t&ime (s):", CanField::traffic_time,
                "Seconds without CAN traffic before the device sleeps; 0 for never");
    addLabelled(grid, inside, "Ethernet wake-up:", CanField::ethernet_wakeup, "0 to 65535");
    addLabelled(grid, inside, "Ethernet threshold:", CanField::ethernet_threshold, "0 to 65535");
    auto* any = new wxRadioButton(inside, idOf(CanField::any_traffic), "Wake on an&y CAN traffic",
                                  wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    box->Add(enterField(CanField::any_traffic, any, "Every frame on the bus wakes the device"), below);
    auto* selective = new wxRadioButton(inside, idOf(CanField::selective), "Wake on a mat&ching frame");
    box->Add(
        enterField(CanField::selective, selective, "Only a frame with the identifier of filter 1 wakes it"),
        below);
    auto* filter = new wxCheckBox(inside, idOf(CanField::wakeup_filter), "Wake-up low-pass filter");
    box->Add(enterField(CanField::wakeup_filter, filter, "Short disturbances do not wake the CAN controller"),
             below);
    return box;
}

wxSizer* CanSettingsPanel::buildFilter(wxWindow* parent) {
    auto* box = new wxStaticBoxSizer(wxVERTICAL, parent, "CAN receive buffer 1");
    wxWindow* inside = box->GetStaticBox();
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    auto* standard = new wxCheckBox(inside, idOf(CanField::standard_frames), "Stan&dard frames");
    line->Add(enterField(CanField::standard_frames, standard, "Takes frames with 11-bit identifiers"),
              wxSizerFlags().Border(wxRIGHT, FromDIP(gap_px)));
    auto* extended = new wxCheckBox(inside, idOf(CanField::extended_frames), "Extended f&rames");
    line->Add(enterField(CanField::extended_frames, extended, "Takes frames with 29-bit identifiers"));
    box->Add(line, wxSizerFlags().Border(wxALL, FromDIP(gap_px)));
    wxFlexGridSizer* grid = addGrid(this, box);
    const char* tooltip = "Hexadecimal: 3 digits for a standard identifier, 8 for an extended one";
    addLabelled(grid, inside, "Filter 1:", CanField::filter1, tooltip);
    addLabelled(grid, inside, "Filter 2:", CanField::filter2, tooltip);
    addLabelled(grid, inside, "Mask:", CanField::mask,
                "Hexadecimal: the bits in which a frame must match a filter; 0 takes every frame");
    return box;
}

// ---- The controls' texts ----

std::string CanSettingsPanel::text(CanField field) const {
    const wxWindow* control = window(field);
    if (const auto* choice = dynamic_cast<const wxChoice*>(control))
        return choice->GetStringSelection().utf8_string();
    if (const auto* spin = dynamic_cast<const wxSpinCtrl*>(control))
        return spin->GetTextValue().utf8_string();
    if (const auto* entry = dynamic_cast<const wxTextCtrl*>(control)) return entry->GetValue().utf8_string();
    const auto* box = dynamic_cast<const wxCheckBox*>(control);
    const bool on = box != nullptr ? box->GetValue() : static_cast<const wxRadioButton*>(control)->GetValue();
    return on ? "true" : "false";
}

void CanSettingsPanel::show(CanField field, const std::string& text) {
    wxWindow* control = window(field);
    const wxString shown = wxString::FromUTF8(text);
    if (auto* choice = dynamic_cast<wxChoice*>(control))
        choice->SetSelection(choice->FindString(shown, true));
    else if (auto* spin = dynamic_cast<wxSpinCtrl*>(control))
        spin->SetValue(wxAtoi(shown));
    else if (auto* entry = dynamic_cast<wxTextCtrl*>(control))
        entry->ChangeValue(shown);
    else if (auto* box = dynamic_cast<wxCheckBox*>(control))
        box->SetValue(text == "true");
    else if (text == "true")
        static_cast<wxRadioButton*>(control)->SetValue(true);
}

CanForm CanSettingsPanel::form() const {
    CanForm form;
    for (size_t i = 0; i < oabr::can_field_count; ++i)
        form[static_cast<CanField>(i)] = text(static_cast<CanField>(i));
    return form;
}

void CanSettingsPanel::showForm(const CanForm& form) {
    for (size_t i = 0; i < oabr::can_field_count; ++i)
        show(static_cast<CanField>(i), form[static_cast<CanField>(i)]);
    failure_.clear();
    showCheck(check());
}

std::string CanSettingsPanel::error(const CanForm& form) const {
    const CanCheck check = checkForm(form, device_);
    if (check.errors.empty()) return {};
    return std::string(canFieldName(check.errors[0].field)) + ": " + check.errors[0].text;
}

// ---- Edits ----

void CanSettingsPanel::OnValueChangedEvent(wxCommandEvent& event) {
    const int index = event.GetId() - ID_FIELD;
    if (index < 0 || index >= static_cast<int>(oabr::can_field_count)) return event.Skip();
    edited(static_cast<CanField>(index));
}

void CanSettingsPanel::edited(CanField field) {
    if (wrong_ == field) return CallAfter([this, field] { takeBack(field); });
    if (field == CanField::baud_rate)
        useRate();
    else
        showRate(field);
    noteChange();
    apply();
}

void CanSettingsPanel::showRate(CanField field) {
    const CanCheck now = check();
    if (!isOneOf(field, timing_fields) || !now.errorOf(field).empty()) return;
    const auto rate = calculatedRate(now.block.speed);
    show(CanField::baud_rate, rate ? rate->label : oabr::can_custom_rate);
}

void CanSettingsPanel::typed(CanField field) {
    // A spin control that is left with a wrong number brings it into the range and says so within one event:
    // its text counts as wrong until that is over.
    if (!check().errorOf(field).empty())
        wrong_ = field;
    else
        CallAfter([this, field] {
            if (check().errorOf(field).empty()) wrong_.reset();
        });
    showRate(field);
    failure_.clear();
    showCheck(check());
    noteChange();
}

void CanSettingsPanel::leftText(CanField field) {
    if (!IsThisEnabled() || text(field) == formOf(device_)[field]) return;
    if (isOneOf(field, identifier_fields) || (wrong_ != field && check().errorOf(field).empty()))
        return apply();
    takeBack(field);
}

void CanSettingsPanel::takeBack(CanField field) {
    wrong_.reset();
    show(field, formOf(device_)[field]);
    showRate(field);
    apply();
}

void CanSettingsPanel::useRate() {
    for (const oabr::CanRate& rate : oabr::can_rates) {
        can_speed speed{};
        if (text(CanField::baud_rate) == rate.label &&
            can_calc_params(can_oscillator_hz, rate.bits_per_second, 1, &speed) == 0) {
            speed.cnf3_upper = check().block.speed.cnf3_upper;
            showTiming(speed);
        }
    }
}

void CanSettingsPanel::useExact() {
    const auto better = betterTiming(check().block.speed);
    if (!better) return;
    showTiming(*better);
    show(CanField::baud_rate, oabr::can_custom_rate);
    window(CanField::baud_rate)->SetFocus();  // the button goes
    noteChange();
    apply();
}

void CanSettingsPanel::showTiming(const can_speed& speed) {
    CanBlock block = device_;
    block.speed = speed;
    const CanForm form = formOf(block);
    for (const CanField field : timing_fields)
        show(field, form[field]);
}

void CanSettingsPanel::showCheck(const CanCheck& check) {
    enableFields();
    wxString messages;
    for (size_t i = 0; i < oabr::can_field_count; ++i) {
        const auto field = static_cast<CanField>(i);
        const bool wrong = !check.errorOf(field).empty();
        window(field)->SetForegroundColour(messageColour(wrong));
        window(field)->Refresh();
    }
    for (const auto& [field, text] : check.errors)
        messages += shownName(window(field)) + ": " + wxString::FromUTF8(text) + ".\n";
    if (!check.errors.empty())
        messages += "Nothing of this page is sent or stored until that is put right.\n";
    for (const auto& [field, text] : check.warnings)
        messages += "Note: " + shownName(window(field)) + ": " + wxString::FromUTF8(text) + ".\n";
    messages += storedLines() + wxString::FromUTF8(failure_);
    messages_->SetForegroundColour(messageColour(!check.errors.empty() || !failure_.empty()));
    messages_->SetLabelText(messages);
    messages_->Wrap(content_->GetClientSize().x - FromDIP(4 * gap_px));

    const can_speed& speed = check.block.speed;
    const bool readable = std::all_of(std::begin(timing_fields), std::end(timing_fields),
                                      [&](CanField field) { return check.errorOf(field).empty(); });
    timing_->SetLabelText(readable ? describeTiming(speed) : "");
    const std::string offer = readable ? describeOffer(speed) : "";
    offer_->SetLabelText(wxString::FromUTF8(offer));
    offer_->Show(!offer.empty());
    use_exact_->Show(!offer.empty());
    content_->FitInside();
    content_->Layout();
}

void CanSettingsPanel::showStored() {
    showCheck(check());
}

/// What is stored otherwise than the device holds it, a line each.
wxString CanSettingsPanel::storedLines() const {
    if (stored() == nullptr) return "";
    wxString lines;
    const CanForm kept = formOf(canBlockOf(*stored(), device_)), held = formOf(device_);
    for (size_t i = 0; i < oabr::can_field_count; ++i) {
        const auto field = static_cast<CanField>(i);
        if (kept[field] == held[field] || dynamic_cast<const wxRadioButton*>(window(field))) continue;
        lines += "stored: " + shownName(window(field)) + " " + valueText(kept[field]) + "\n";
    }
    return lines;
}

void CanSettingsPanel::enableFields() {
    window(CanField::phase_segment2)->Enable(text(CanField::own_phase) == "true");
}

// ---- The device ----

void CanSettingsPanel::apply() {
    const CanCheck now = check();
    failure_.clear();
    if (now.errors.empty() && IsThisEnabled()) return send(now.block, Send::changes);
    showCheck(now);
}

void CanSettingsPanel::SetAllRegisters() {
    const CanCheck now = check();
    if (!now.errors.empty()) return showCheck(now);
    const Activity activity(this, "Writing");
    if (activity) return send(now.block, Send::everything);
    failure_ = activity.refusal();
    showCheck(now);
}

void CanSettingsPanel::send(const CanBlock& block, Send what) {
    const oabr::DeviceUse use = takeDevice();
    if (!use) {
        failure_ = use.refusal();
        return showCheck(check());
    }
    const settings::Settings before = heldSettings();
    const CanForm form_before = formOf(device_);
    auto job = oabr::DeviceUse::take(userName());
    oabr::CanSending sent{device_, "The device is busy."};
    const auto work = [&, device = device_](Work&) { sent = sendCanToDevice(block, device, what); };
    if (runWhilePainting(this, {}, work))
        device_ = sent.device;
    else
        whenNoWorkRuns(this, [this] { apply(); });
    job.release();
    failure_ = sent.failure;
    if (trace_) trace_->setControllerMode(device_.canMode());
    showCheck(check());
    for (wxWindow* const field : windows_)  // what was sent is no text that is being typed
        if (auto* const entry = dynamic_cast<wxTextCtrl*>(field)) entry->DiscardEdits();
    noteEdit(editTitle(form_before), before);
}

/// "CAN mode LOOPBACK"; the page's name where more than one field changed.
wxString CanSettingsPanel::editTitle(const CanForm& before) const {
    const CanForm now = formOf(device_);
    if (now[CanField::baud_rate] != before[CanField::baud_rate])
        return "CAN bit rate " + wxString::FromUTF8(now[CanField::baud_rate]);
    std::optional<CanField> changed;
    for (size_t i = 0; i < oabr::can_field_count; ++i) {
        const auto field = static_cast<CanField>(i);
        if (now[field] == before[field]) continue;
        if (changed) return GetName();
        changed = field;
    }
    if (!changed) return {};
    return shownName(window(*changed)) + " " + valueText(now[*changed]);
}

settings::Settings CanSettingsPanel::heldSettings() const {
    settings::Settings settings;
    if (needsRead()) return settings;
    takeCanBlock(device_, &settings);
    settings.traffic_time.reset();
    return settings;
}

void CanSettingsPanel::followDevice(const settings::Settings& now) {
    settings::Settings all;
    takeCanBlock(device_, &all);
    putOver(&all, now);
    device_ = canBlockOf(all, device_);
    showForm(formOf(device_));
}

void CanSettingsPanel::ReadAllRegisters() {
    if (!needsRead() || workRuns()) return;
    const Activity activity(this, "Reading");
    if (!activity) return;
    std::optional<CanBlock> read;
    const auto job = oabr::DeviceUse::take(userName());
    if (!runWhilePainting(this, {}, [&read](Work&) { read = oabr::readCanFromDevice(); })) return;
    if (!needsRead()) return;  // the device went away meanwhile
    if (!read) {
        failure_ = "The settings could not be read from the device.";
        return showCheck(check());
    }
    device_ = *read;
    showForm(formOf(device_));
    setNeedsRead(false);
}

StoreStep CanSettingsPanel::StoreBesideRecords() {
    const CanCheck now = check();
    if (!now.errors.empty()) {
        const auto& [field, text] = now.errors[0];
        return {(GetName() + ", " + shownName(window(field)) + ": ").utf8_string() + text + ".",
                std::nullopt};
    }
    apply();  // a text that is still being edited
    return {{}, settings::storedCanBytes(now.block)};
}

// ---- The trace window ----

void CanSettingsPanel::openTrace() {
    if (!trace_) trace_ = new CanTraceWindow(wxGetTopLevelParent(this), IsEnabled());
    trace_->Show();
    trace_->Raise();
}

void CanSettingsPanel::OnDeviceConnected(wxThreadEvent& event) {
    OABRControlFrame::OnDeviceConnected(event);
    if (trace_) trace_->setConnected(true);
}

void CanSettingsPanel::OnDeviceDisConnected(wxThreadEvent& event) {
    OABRControlFrame::OnDeviceDisConnected(event);
    if (trace_) trace_->setConnected(false);
}

void CanSettingsPanel::OnWindowCloses() {
    if (trace_) trace_->shutDown();
}

}  // namespace kovgui
