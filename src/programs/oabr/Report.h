#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "src/models/settings_data.h"

namespace kovgui::tool {

// Exit statuses.
constexpr int status_done = 0;
constexpr int status_failed = 1;
constexpr int status_not_begun = 2;
constexpr int status_differs = 3;

/// What came of a verb on one device.
struct Report {
    std::string serial;  ///< empty where there is no device
    const char* kind;
    settings::Data body = settings::Data::table();
    std::vector<settings::Error> errors = {};
    int status = status_done;
    std::string text = {};  ///< for people, on standard output

    /// @return a report of that error
    static Report failed(const char* kind, settings::Error error, int status = status_not_begun);
    /// What JSON shows of it; the body goes into it.
    settings::Data takeData();
};

/// The first of 1, 2, 3, 0 that occurs; what interrupted it comes before all.
int statusOf(const std::vector<Report>& reports);

/// One line of an error, with the file's name and the place where there is one.
std::string errorText(const std::string& file, const settings::Error& error);

struct Style {
    bool json, pretty;
    std::string file;  ///< for errors that have a place
};
/// Prints the reports: JSON at once, else texts there and errors on standard error.
/// @param output  null for a closed one
/// @return        whether all of it was written
bool print(std::vector<Report> reports, const Style& style, std::FILE* output);

}  // namespace kovgui::tool
