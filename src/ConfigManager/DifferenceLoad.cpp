#include "src/ConfigManager/DifferenceLoad.h"

#include <wx/msgdlg.h>

#include <utility>

#include "src/ConfigManager/LoadDifferenceDialog.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/config_document.h"
#include "src/models/firmware_guard.h"
#include "src/window/device_text.h"
#include "src/window/while_painting.h"

namespace kovgui {

using oabr::DeviceUse;
using oabr::OABRDevice;
using settings::Applied;
using settings::DeviceImage;
using settings::GoOn;
using settings::LoadDifference;
using settings::Plan;
using settings::Reading;
using settings::Scope;
using settings::Settings;
using settings::StoredBytes;

namespace {

/// Writes the ticked rows as a set-up.
void saveDifference(LoadDifferenceDialog* dialog, const AskSetUpFile& ask) {
    const wxString path = ask(dialog, "Save difference", true);
    if (path.empty()) return;
    const std::string failure =
        config::saveText(path.fn_str(), tomlText(dialog->rows().wanted(), settings::Removals::named));
    if (!failure.empty())
        wxMessageBox(wxString::Format("The file \"%s\" was not written: %s.", path, failure),
                     "Save difference", wxOK | wxICON_ERROR, dialog);
}

}  // namespace

DifferenceLoad::DifferenceLoad(wxWindow* window, settings::LoadedFile file, const wxString& path,
                               AskSetUpFile ask)
    : window_(window),
      file_(std::move(file)),
      path_(path),
      ask_(std::move(ask)),
      serial_(OABRDevice::instance()->getConnectedDevice()) {}

void DifferenceLoad::say(const std::string& text) const {
    wxMessageBox(messageText(text), "Open XML Config", wxOK | wxICON_ERROR, window_);
}

bool DifferenceLoad::withDevice(const wxString& what, const std::function<void(const GoOn&)>& work) {
    const OABRDevice& device = *OABRDevice::instance();
    auto use = DeviceUse::take("loading a file");
    if (!use) {
        say(use.refusal() + "\nPlease wait until that has ended.");
        return false;
    }
    if (!device.isFirmwareConnected() || device.receiverEnded() || device.getConnectedDevice() != serial_) {
        use.release();
        say("The device " + serial_ + " is not connected any more. Nothing was written.");
        return false;
    }
    return runWhilePainting(window_, {Notice::progress, what}, [&](Work& job) { work(job.goOn()); });
}

/// @return whether it finished
bool DifferenceLoad::sayReading(Reading reading) const {
    if (reading == Reading::silent)
        say(OABRDevice::instance()->receiverEnded()
                ? "The device's settings could not be read: it went away. Nothing was written."
                : "The device's settings could not be read: it does not answer. Nothing was written. Reset "
                  "it "
                  "and try again.");
    return reading == Reading::finished;
}

/// What the file would change now.
std::optional<LoadDifference> DifferenceLoad::look() {
    Look look;
    const bool ran = withDevice("Reading the settings", [&](const GoOn& go_on) {
        DeviceImage image;
        StoredBytes bytes;
        const Scope scope = Scope::of(file_.set_up.settings);
        look.reading = readStoredFromDevice(go_on, &bytes);
        if (look.reading == Reading::finished) look.reading = readFromDevice(scope, go_on, &image, nullptr);
        if (look.reading != Reading::finished) return;
        const Settings stored = settingsOf(imageOf(bytes));
        const Plan plan = planOf(image, file_.set_up.settings, &stored);
        look.rows.emplace(file_, settingsOf(image, scope), plan.difference, stored);
    });
    if (!ran || !sayReading(look.reading)) return {};
    return std::move(look.rows);
}

bool DifferenceLoad::run() {
    std::string errors;
    for (const settings::Error& error :
         guardErrors(file_.set_up, serial_, OABRDevice::instance()->getFirmwareVersion()))
        errors += error.message + "\n";
    if (!errors.empty()) {
        say(errors + "Nothing was read or written.");
        return false;
    }
    std::optional<LoadDifference> rows = look();
    if (!rows) return false;
    LoadDifferenceDialog dialog(window_, LoadDifferenceDialog::Kind::load, path_, std::move(*rows));
    dialog.on_save = [&] { saveDifference(&dialog, ask_); };
    while (dialog.ShowModal() == wxID_APPLY)
        if (apply(&dialog)) return true;
    return false;
}

/// @return whether the device holds what is ticked; else the operator was told what it holds
bool DifferenceLoad::apply(LoadDifferenceDialog* dialog) {
    const LoadDifference& rows = dialog->rows();
    Attempt attempt;
    const bool ran = withDevice("Loading the settings", [&](const GoOn& go_on) {
        attempt.alone = rows.withoutEffect();
        if (!attempt.alone.empty()) return;
        const Settings wanted = rows.wanted();
        DeviceImage image;
        attempt.reading = readFromDevice(Scope::of(wanted), go_on, &image, nullptr);
        if (attempt.reading != Reading::finished) return;
        plan_ = planOf(image, wanted);
        attempt.changed = !rows.isShownBy(plan_.difference);
        if (!attempt.changed)
            attempt.applied = applyToDevice(plan_, settings::optionsOnDevice(serial_, go_on));
    });
    if (!attempt.alone.empty()) {
        std::string text = "Without the settings that are not ticked these would change nothing:\n\n";
        for (const std::string& path : attempt.alone)
            text += path + "\n";
        say(text);
        return false;
    }
    if (!ran || !sayReading(attempt.reading)) return false;
    if (attempt.changed) {
        say("The device holds other settings than those shown. Nothing was written; they are read again.");
        if (auto now = look()) dialog->setRows(std::move(*now));
        return false;
    }
    if (attempt.applied.errors.empty()) return true;
    unknown_ = unknown_ || attempt.applied.device == Applied::Device::unknown;
    std::string text;
    for (const settings::Error& error : attempt.applied.errors)
        text += (error.path.empty() ? "" : error.path + ": ") + error.message + "\n" + error.hint + "\n";
    say(text);
    return false;
}

void showFileDifference(wxWindow* window, const settings::LoadedFile& first, const wxString& first_path,
                        settings::LoadedFile second, const wxString& second_path, const AskSetUpFile& ask) {
    LoadDifferenceDialog dialog(window, LoadDifferenceDialog::Kind::files,
                                "First: " + first_path + "\nSecond: " + second_path,
                                LoadDifference::ofFiles(first, std::move(second)));
    dialog.on_save = [&] { saveDifference(&dialog, ask); };
    dialog.ShowModal();
}

}  // namespace kovgui
