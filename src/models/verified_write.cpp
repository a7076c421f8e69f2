#include "src/models/verified_write.h"

#include "lib/comm_obj.h"

namespace kovgui::oabr {
namespace {

/// @return whether all requests of the first or of the second try were answered
bool twice(const std::function<void()>& requests) {
    constexpr int tries = 2;
    for (int i = 0; i < tries; ++i) {
        const comm_run run;
        requests();
        if (!run.timed_out()) return true;
    }
    return false;
}

bool writeAgain(const SettingAccess& setting, int value) {
    return twice([&] { setting.set(value); });
}

}  // namespace

std::optional<int> readAgain(const SettingAccess& setting, bool* answered) {
    std::optional<int> read;
    const bool done = !setting.get || twice([&] {
        int value = 0;
        read.reset();
        if (setting.get(&value)) read = value;
    });
    if (done) return read;
    *answered = false;
    return std::nullopt;
}

Written writeVerified(const SettingAccess& setting, int value, std::optional<int> before) {
    bool answered = !setting.set || writeAgain(setting, value);
    if (!answered) return {};
    if (!setting.get) return {Written::Taken::yes, value};
    std::optional<int> held = readAgain(setting, &answered);
    if (!answered) return {};
    if (held == value) return {Written::Taken::yes, held};
    if (before && held != before) {
        if (!writeAgain(setting, *before)) return {};
        held = readAgain(setting, &answered);
    }
    return {answered ? Written::Taken::no : Written::Taken::unknown, held};
}

}  // namespace kovgui::oabr
