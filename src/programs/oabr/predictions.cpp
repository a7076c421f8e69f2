// The verb predict: what the next start changes.

#include <cmath>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/backup.h"
#include "src/models/prediction.h"
#include "src/models/settings_can.h"
#include "src/programs/oabr/verbs.h"

namespace kovgui::tool {

using oabr::OABRDevice;
using settings::Certainty;
using settings::Data;
using settings::DeviceImage;
using settings::Loss;
using settings::Prediction;
using settings::PredictionCheck;
using settings::Reading;

namespace {

constexpr const char* kind = "prediction";

double rateOf(const PredictionCheck& check) {
    constexpr double digits = 10000;  // enough to see one bit of a register
    return check.bits == 0
               ? 1
               : std::floor(digits * static_cast<double>(check.right) / static_cast<double>(check.bits)) /
                     digits;
}

Data dataOf(const std::optional<PredictionCheck>& check) {
    if (!check) return {};
    Data wrong = Data::list();
    for (const std::string& one : check->wrong)
        wrong.append(one);
    return Data::table({{"at", check->at},
                        {"bits", check->bits},
                        {"right", check->right},
                        {"hit_rate", rateOf(*check)},
                        {"wrong", wrong}});
}

Data dataOf(const Loss& loss) {
    return Data::table({{"path", loss.path},
                        {"live", loss.live},
                        {"next", loss.next},
                        {"certainty", nameOf(loss.certainty)},
                        {"because", loss.because},
                        {"remedy", loss.remedy}});
}

/// What the EEPROM holds, or what a file would have it hold.
std::optional<Report> eepromOf(const std::string& from, Session& session, EepromImage* eeprom) {
    const Reading reading = readEepromImage(session.progress("Reading the EEPROM"), eeprom);
    session.endProgress();
    if (reading != Reading::finished) return session.readingFailed(kind, reading);
    if (from == "stored") return std::nullopt;
    std::string error;
    if (const auto backup = loadBackup(from, &error)) {
        *eeprom = backup->image;
        return std::nullopt;
    }
    const settings::SetUp set_up = settings::loadSetUp(from);
    if (!set_up.errors.empty()) return refused(kind, set_up.errors);
    // As if it had been applied and stored: what it does not name stays as it is stored.
    settings::Settings wanted = settings::settingsIn(*eeprom);
    putOver(&wanted, set_up.settings);
    if (const auto overflow = overflowError(wanted)) return refused(kind, {*overflow});
    const auto block = settings::canBlockIn(settings::storedBytesIn(*eeprom).can);
    *eeprom =
        withLists(*eeprom, listsOf(wanted),
                  settings::storedCanBytes(canBlockOf(wanted, block.value_or(oabr::defaultCanBlock()))));
    return std::nullopt;
}

/// Restarts the device and looks how well that was predicted.
std::optional<Report> restart(StateFolder& folder, const std::string& firmware, const Prediction& prediction,
                              Session& session, PredictionCheck* check) {
    OABRDevice& device = *OABRDevice::instance();
    const bool reset = device.resetDevice() == ftdi::FT_OK;
    device.disconnect();
    if (!reset || !settings::optionsOnDevice(folder.serial(), {}).reconnect())
        return Report::failed(kind,
                              {"device_silent", "", 0, 0, "The device did not come back after a reset.", ""},
                              status_failed);
    const settings::StartSeen seen =
        settings::lookAtStart(folder, firmware, prediction, settings::LookAt::everything,
                              settings::Since::nobody_had_it, session.progress("Looking at the start"));
    session.endProgress();
    if (seen.reading != Reading::finished) return session.readingFailed(kind, seen.reading);
    *check = seen.check;
    if (!seen.failure.empty()) session.say(folder.serial(), seen.failure + " What was learnt is forgotten.");
    return std::nullopt;
}

Report predictOne(const Arguments& arguments, const std::string& serial, Session& session) {
    StateFolder folder(serial);
    const std::string firmware = OABRDevice::instance()->getFirmwareVersion().toString();
    EepromImage eeprom;
    const std::string from = arguments.from == "live" ? "stored" : arguments.from;
    if (auto failed = eepromOf(from, session, &eeprom)) return *failed;
    const settings::StartValues learnt = settings::loadStartValues(folder, firmware);
    const Prediction prediction = settings::predict(eeprom, learnt);
    DeviceImage live;
    const Reading reading = readForPrediction(registersOf(prediction), session.progress("Reading"), &live);
    session.endProgress();
    if (reading != Reading::finished) return session.readingFailed(kind, reading);
    auto last = settings::loadLastCheck(folder, firmware);
    for (const std::string& message : folder.takeMessages())
        session.say(serial, message);
    if (arguments.restart) {
        PredictionCheck check;
        if (auto failed = restart(folder, firmware, prediction, session, &check)) return *failed;
        last = check;
    }

    Report report{serial, kind};
    const std::vector<Loss> losses = lossesOf(prediction, live);
    Data differs = Data::list();
    for (const Loss& loss : losses) {
        differs.append(dataOf(loss));
        report.text += loss.path + ": " + loss.live.shown() + " -> " + loss.next.shown() + " (" +
                       nameOf(loss.certainty) + ": " + loss.because + "; " + loss.remedy + ")\n";
    }
    report.text += losses.empty() ? "The next start changes nothing.\n"
                                  : counted(losses.size(), "setting") + " will be lost at power-off.\n";
    if (last) report.text += textOf(*last) + "\n";
    report.body.add("differs", differs);
    report.body.add("unknown_records", prediction.unknown_records);
    report.body.add("base", learnt.registers.empty() ? "assumed" : "learnt");
    report.body.add("last_check", dataOf(last));
    report.status = losses.empty() ? status_done : status_differs;
    return report;
}

}  // namespace

std::vector<Report> predictStart(const Arguments& arguments, Session& session) {
    if (arguments.restart && arguments.from != "live" && arguments.from != "stored")
        return {refused(kind, {{"usage", "", 0, 0, "A restart shows what is stored, not what a file holds.",
                                "Leave out --from or --restart."}})};
    return session.onEachDevice(
        kind, [&](const std::string& serial) { return predictOne(arguments, serial, session); });
}

}  // namespace kovgui::tool
