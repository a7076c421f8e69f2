#include "src/Controls/OABRControlFrame.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/control.h>
#include <wx/msgdlg.h>
#include <wx/notebook.h>
#include <wx/statbox.h>

#include <algorithm>
#include <utility>

#include "lib/comm_obj.h"
#include "src/models/EditHistory.h"
#include "src/models/StoredImage.h"
#include "src/models/load_difference.h"
#include "src/models/settings_diff.h"
#include "src/models/settings_records.h"
#include "src/window/PageHost.h"
#include "src/window/while_painting.h"

namespace kovgui::controls {

// clang-format off
wxBEGIN_EVENT_TABLE(OABRControlFrame, wxPanel)
    EVT_SHOW(OABRControlFrame::OnShow)
    EVT_THREAD(oabr::device_connected, OABRControlFrame::OnDeviceConnected)
    EVT_THREAD(oabr::device_disconnected, OABRControlFrame::OnDeviceDisConnected)
    EVT_THREAD(oabr::device_status_update, OABRControlFrame::OnDeviceStatusUpdate)
    EVT_CHOICE(wxID_ANY, OABRControlFrame::OnValueChangedEvent)
    EVT_CHECKBOX(wxID_ANY, OABRControlFrame::OnValueChangedEvent)
    EVT_RADIOBUTTON(wxID_ANY, OABRControlFrame::OnValueChangedEvent)
wxEND_EVENT_TABLE()
    // clang-format on

    constinit std::vector<OABRControlFrame*> OABRControlFrame::living_;
const std::vector<OABRControlFrame*>& OABRControlFrame::oabrControlFrames = living_;

OABRControlFrame::OABRControlFrame(wxWindow* parent, const wxString& name)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL, name) {
    living_.push_back(this);
    Disable();
}

OABRControlFrame::~OABRControlFrame() {
    std::erase(living_, this);
    DestroyChildren();  // controls leave the map as they go
}

void OABRControlFrame::enter(int id, OABRControl* control) {
    controls_[id] = control;
}

void OABRControlFrame::leave(const OABRControl* control) {
    std::erase_if(controls_, [control](const auto& entry) { return entry.second == control; });
}

bool OABRControlFrame::Enable(bool enable) {
    if (!wxPanel::Enable(enable)) return false;
    if (enable) enterTabRound();
    return true;
}

void OABRControlFrame::enterTabRound() {
    round_due_ = !isSeen(this);
    if (!round_due_) takeIntoTabRound(this);
}

OABRControl* OABRControlFrame::control(int id) const {
    const auto found = controls_.find(id);
    return found == controls_.end() ? nullptr : found->second;
}

void OABRControlFrame::SetRegister(int id) {
    OABRControl* const edited = control(id);
    if (edited == nullptr) return;
    const comm_run run;
    if (const oabr::DeviceUse use = takeDevice()) edited->setValue();
}

void OABRControlFrame::SetAllRegisters() {
    const comm_run run;
    OnValuesShown();
    const Activity activity(this, "Writing");
    if (!activity) return;
    for (const auto& [id, control] : controls_)
        control->setValue();
}

void OABRControlFrame::ReadAllRegisters() {
    if (!needs_read_ || workRuns()) return;
    const Activity activity(this, "Reading");
    if (!activity) return;
    std::vector<std::pair<OABRControl*, std::optional<int>>> read;
    bool silent = false;
    const auto work = [&](Work&) {
        const comm_run run;
        for (const auto& [id, control] : controls_)
            read.emplace_back(control, control->readValue());
        silent = run.timed_out();
    };
    const auto job = oabr::DeviceUse::take(userName());
    if (!runWhilePainting(this, {}, work) || !needs_read_) return;  // the device went away meanwhile
    bool taken_after_all = false;
    for (const auto& [control, value] : read) {
        const bool marked = control->refusedValue().has_value();
        control->showRead(value);
        taken_after_all = taken_after_all || (marked && !control->refusedValue());
    }
    needs_read_ = silent;
    OnValuesShown();
    if (taken_after_all) noteChange();
}

void OABRControlFrame::StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records,
                                         std::vector<e2p_cfg_cmd>& phy1_records,
                                         std::vector<e2p_cfg_cmd>& phy2_records) {
    ConfigLists lists = controls_.empty() ? recordsOf(shownSettings()) : ConfigLists();
    for (const auto& [id, control] : controls_)
        lists.append(settings::takeRecords(control->storeValue().release()));
    const auto append = [](const std::vector<e2p_cfg_cmd>& from, std::vector<e2p_cfg_cmd>& to) {
        to.insert(to.end(), from.begin(), from.end());
    };
    append(lists.switch_list, switch_records);
    append(lists.phy1_list, phy1_records);
    append(lists.phy2_list, phy2_records);
}

settings::Settings OABRControlFrame::shownSettings() const {
    settings::Settings settings;
    for (const auto& [id, control] : controls_)
        control->giveSetting(&settings);
    return settings;
}

settings::Settings OABRControlFrame::heldSettings() const {
    settings::Settings settings;
    for (const auto& [id, control] : controls_)
        control->giveHeld(&settings);
    return settings;
}

void OABRControlFrame::followDevice(const settings::Settings&) {
    readAgain();
}

void OABRControlFrame::readAgain() {
    if (!IsThisEnabled()) return;
    OnValuesChanged();
    whenNoWorkRuns(this, [this] {
        if (isSeen(this)) OnSeen();
    });
}

void OABRControlFrame::OnReadAgain() {
    for (const auto& [id, control] : controls_)
        control->unmark();
    readAgain();
}

wxWindow* OABRControlFrame::makeReadButton() {
    auto* const button = new wxButton(this, wxID_ANY, "Read again");
    button->SetToolTip("Reads the page's settings from the device (F5)");
    button->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { OnReadAgain(); });
    return button;
}

void OABRControlFrame::followStored() {
    stored_ = StoredImage::instance().settings();
    showStored();
}

void OABRControlFrame::showStored() {
    for (const auto& [id, control] : controls_)
        control->showStored(stored());
}

wxString OABRControlFrame::storedText(const settings::Settings& held) const {
    constexpr int shown_changes = 3;
    if (stored() == nullptr) return "";
    using settings::Change;
    wxString text;
    int count = 0;
    for (const Change& one : differenceOf(*stored(), held, nullptr, settings::Against::stored).changes) {
        const bool added = one.action == Change::Action::add;
        if (one.from.isNull() && !added) continue;  // no record says what it is to be
        if (++count > shown_changes) continue;
        text += (count == 1 ? "stored: " : "; ") + wxString::FromUTF8(settings::nameOf(one.path)) + " " +
                (added ? wxString("none") : wxString::FromUTF8(settings::valueOf(one.path, one.from)));
    }
    if (count > shown_changes) text += wxString::Format(" and %d more", count - shown_changes);
    return text;
}

bool OABRControlFrame::holdDeviceValues() {
    if (needs_read_) ReadAllRegisters();
    return !needs_read_;
}

void OABRControlFrame::readWhenShown() {
    whenNoWorkRuns(this, [this] {
        if (!isSeen(this)) return;
        if (round_due_) enterTabRound();
        ReadAllRegisters();
        followStored();
    });
}

void OABRControlFrame::OnValuesChanged() {
    needs_read_ = true;
}

void OABRControlFrame::OnDeviceConnected(wxThreadEvent&) {
    for (const auto& [id, control] : controls_)
        control->unmark();
    Enable();
    OnValuesChanged();
    if (isSeen(this)) OnSeen();
}

void OABRControlFrame::OnDeviceDisConnected(wxThreadEvent&) {
    needs_read_ = false;
    Disable();
    showStored();
}

void OABRControlFrame::OnDeviceFree() {
    if (std::exchange(refused_, false) && needs_read_ && isSeen(this)) OnSeen();
}

void OABRControlFrame::OnDeviceAnswers() {
    if (needs_read_ && IsThisEnabled() && isSeen(this)) OnSeen();
}

void OABRControlFrame::OnDeviceStatusUpdate(wxThreadEvent&) {}

void OABRControlFrame::OnShow(wxShowEvent& event) {
    event.Skip();
    if (event.IsShown()) OnSeen();
}

void OABRControlFrame::OnValueChangedEvent(wxCommandEvent& event) {
    OABRControl* const edited = control(event.GetId());
    if (edited == nullptr) {
        event.Skip();
        return;
    }
    if (const auto value = edited->shownValue()) edit(edited, *value);
}

namespace {

/// What came of an edit.
struct Edit {
    oabr::Written written;
    std::vector<std::pair<OABRControl*, std::optional<int>>> dependents;
};

/// Writes and reads back, on the work's thread.
void writeEdit(const OABRControl& edited, int value, Edit* edit) {
    edit->written = oabr::writeVerified(edited.access(), value, edited.held());
    bool answered = edit->written.taken != oabr::Written::Taken::unknown;
    for (auto& [control, held] : edit->dependents)
        if (answered) held = oabr::readAgain(control->access(), &answered);
    if (!answered) edit->written.taken = oabr::Written::Taken::unknown;
}

}  // namespace

void OABRControlFrame::edit(OABRControl* edited, int value) {
    using Taken = oabr::Written::Taken;
    const oabr::DeviceUse use = takeDevice();
    if (!use) {
        showHeld(edited);
        wxMessageBox(wxString::FromUTF8(use.refusal()) + "\nThe device was not changed.", "Device in use",
                     wxOK | wxICON_INFORMATION | wxCENTRE, this);
        return;
    }
    const settings::Settings before = heldSettings();
    Edit done;
    for (OABRControl* control : dependents(edited->getWXID()))
        done.dependents.emplace_back(control, std::nullopt);
    auto job = oabr::DeviceUse::take(userName());
    const bool ran = runWhilePainting(this, {}, [&](Work&) { writeEdit(*edited, value, &done); });
    job.release();
    // A list that has just closed does not have the focus back, and a disabled window gives it away.
    auto* const window = dynamic_cast<wxWindow*>(edited);
    if (window->IsShownOnScreen() && window->IsEnabled()) window->SetFocus();
    if (!ran || !IsThisEnabled()) return showHeld(edited);  // the device went away meanwhile

    const wxString wanted = edited->shownText();
    if (done.written.taken == Taken::unknown) {
        needs_read_ = true;
        showHeld(edited);
        edited->mark("The device did not answer: it may not have taken \"" + wanted + "\".", value);
        return;
    }
    edited->setHeld(done.written.held);
    for (const auto& [control, held] : done.dependents)
        control->setHeld(held);
    showHeld(edited);
    if (done.written.taken == Taken::no)
        return edited->mark("The device did not take \"" + wanted + "\".", value);
    edited->unmark();
    noteChange();
    const wxString text = wanted == onOffText(true) ? "on" : wanted == onOffText(false) ? "off" : wanted;
    noteEdit(window->GetName() + " " + text, before);
}

/// Shows what the device was last seen to hold: of the control that was edited, and of those that went with
/// it.
void OABRControlFrame::showHeld(OABRControl* edited) {
    edited->showNothing();
    for (const auto& [id, control] : controls_)
        if (control->held()) control->showValue(*control->held());
    OnValuesShown();
}

void OABRControlFrame::noteEdit(const wxString& title, const settings::Settings& before) {
    if (PageHost* const host = pageHost(this)) host->noteEdit(title, before, heldSettings());
}

void OABRControlFrame::noteChange() {
    PageHost* const host = pageHost(this);
    if (host == nullptr) return;
    host->setSettingsChanged(true);
    host->OnChangedStore();
}

oabr::DeviceUse OABRControlFrame::takeDevice() {
    oabr::DeviceUse use = oabr::DeviceUse::takeHere(userName());
    refused_ = !use;
    if (refused_) needs_read_ = true;
    return use;
}

OABRControlFrame::Activity::Activity(OABRControlFrame* page, const std::string& what)
    : page_(page), use_(page->takeDevice()) {
    if (PageHost* const host = pageHost(page))
        host->showActivity(use_ ? wxString(what) + " " + page->GetName() + " ..."
                                : wxString::FromUTF8(use_.refusal()));
}

OABRControlFrame::Activity::~Activity() {
    PageHost* const host = pageHost(page_);
    if (host != nullptr && use_) host->showActivity("");
}

namespace {

/// A child that comes and goes has the toolkit settle the round of its parent anew.
void settleTabRound(wxWindow* parent) {
    wxWindow passing;
    passing.Hide();
    passing.Create(parent, wxID_ANY);
}

void settleTabRounds(wxWindow* window) {
    const bool has_round =
        dynamic_cast<wxPanel*>(window) != nullptr || dynamic_cast<wxStaticBox*>(window) != nullptr;
    if (!has_round) return;
    for (wxWindow* child : window->GetChildren())
        settleTabRounds(child);
    settleTabRound(window);
}

}  // namespace

void takeIntoTabRound(wxWindow* window) {
    settleTabRounds(window);
    for (wxWindow* parent = window->GetParent(); parent != nullptr && !parent->IsTopLevel();
         parent = parent->GetParent()) {
        if (dynamic_cast<wxNotebook*>(parent) == nullptr) settleTabRound(parent);
    }
}

bool isSeen(const wxWindow* window) {
    if (!window->IsShownOnScreen()) return false;
    for (const wxWindow* parent = window->GetParent(); parent != nullptr;
         window = parent, parent = parent->GetParent()) {
        const auto* book = dynamic_cast<const wxBookCtrlBase*>(parent);
        if (book != nullptr && book->GetCurrentPage() != window) return false;
    }
    return true;
}

wxString plainLabel(const wxString& label) {
    wxString plain = wxControl::RemoveMnemonics(label);
    plain.EndsWith(":", &plain);
    return plain;
}

}  // namespace kovgui::controls
