#include "src/programs/oabr/Report.h"

#include <algorithm>

#include "src/base/utilities.h"

namespace kovgui::tool {

using settings::Data;
using settings::Error;

namespace {

constexpr int format = 1;
constexpr int first_signal_status = 128;

bool namesItsDevice(const Report& report) {
    return report.kind == std::string("device") || report.kind == std::string("settings");
}

std::string errorLines(const Report& report, const Style& style) {
    constexpr size_t shown_at_most = 20;  // nobody reads on; JSON has them all
    std::string lines;
    size_t shown = 0;
    for (const Error& error : report.errors) {
        if (++shown > shown_at_most) {
            lines += "oabr: and " + std::to_string(report.errors.size() - shown_at_most) + " more\n";
            break;
        }
        lines += "oabr: " + (report.serial.empty() ? "" : report.serial + ": ") +
                 errorText(style.file, error) + "\n";
        if (!error.hint.empty()) lines += "  " + error.hint + "\n";
    }
    return lines;
}

}  // namespace

Report Report::failed(const char* kind, Error error, int status) {
    Report report{{}, kind};
    report.errors.push_back(std::move(error));
    report.status = status;
    return report;
}

Data Report::takeData() {
    Data data =
        Data::table({{"serial", serial.empty() ? Data() : Data(serial)}, {"format", format}, {"kind", kind}});
    for (auto& [name, value] : body.takeMembers())
        data.add(std::move(name), std::move(value));
    Data& list = data.add("errors", Data::list());
    for (const Error& error : errors)
        list.append(dataOf(error));
    return data;
}

int statusOf(const std::vector<Report>& reports) {
    const auto has = [&](auto wanted) { return std::ranges::find_if(reports, wanted, &Report::status); };
    const auto interrupted = has([](int status) { return status > first_signal_status; });
    if (interrupted != reports.end()) return interrupted->status;
    for (const int status : {status_failed, status_not_begun, status_differs})
        if (has([status](int one) { return one == status; }) != reports.end()) return status;
    return status_done;
}

std::string errorText(const std::string& file, const Error& error) {
    std::string place;
    if (error.line > 0) {
        place = (file == "-" || file.empty() ? "standard input" : file) + ":" + std::to_string(error.line);
        if (error.column > 0) place += ":" + std::to_string(error.column);
        place += ": ";
    }
    return place + error.message;
}

bool print(std::vector<Report> reports, const Style& style, std::FILE* output) {
    std::string text, errors;
    if (style.json) {
        Data all = Data::list();
        for (Report& report : reports)
            all.append(report.takeData());
        text = jsonText(all, style.pretty) + "\n";
    } else {
        for (const Report& report : reports) {
            if (reports.size() > 1 && !report.text.empty() && !namesItsDevice(report))
                text += report.serial + ":\n";
            text += report.text;
            errors += errorLines(report, style);
        }
        text = printable(text);
        std::fputs(printable(errors).c_str(), stderr);
    }
    if (text.empty()) return true;
    return output && std::fwrite(text.data(), 1, text.size(), output) == text.size() &&
           std::fflush(output) == 0;
}

}  // namespace kovgui::tool
