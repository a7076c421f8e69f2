#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/models/Data.h"
#include "src/models/Settings.h"

// Settings in and out of TOML and JSON, and what a set-up file asks for.

namespace kovgui::settings {

/// Something that is wrong, or worth a warning. `code` is one of the manual's list.
struct Error {
    std::string code;
    std::string path;
    int line = 0;  ///< 0 for none
    int column = 0;
    std::string message;
    std::string hint;
};
Data dataOf(const Error& error);

/// What a file asks for.
struct SetUp {
    Settings settings;                         ///< it governs what is known here, and nothing else
    std::string guard_serial, guard_firmware;  ///< empty for none
    struct Place {
        int line, column;
    };
    std::map<std::string, Place> places;  ///< of the settings, by path
    std::vector<Error> errors;            ///< with one of them the set-up is not to be used
    std::vector<Error> warnings;
};

/// Adds what a document of either format names; errors say where.
void readSetUp(const Data& document, SetUp* set_up);

/// Reads a text: TOML, JSON, or the window's XML, told by how it begins.
SetUp parseSetUp(std::string_view text);
bool isXml(std::string_view text);
/// Reads a file, "-" for standard input.
SetUp loadSetUp(const std::string& path);
/// The text of a file that may be one.
/// @return why there is none; empty when it was read
[[nodiscard]] std::string readSetUpText(const std::string& path, std::string* text);

/// What is odd about a set-up as far as the file alone shows it.
void lint(SetUp* set_up);

/// Puts the member of a path into a document, making the tables on the way.
void putData(Data* document, std::string_view path, Data value);

// --- Entries of tables as files have them, without their number

Data dataOf(const ksz_vlan_entry& entry);
Data dataOf(const ksz_smac_entry& entry);
Data dataOf(const CanTiming& timing);
Data dataOf(const CanReceive& receive);

/// Which settings are meant: all without a path, else those at or below one of them.
class Selection {
public:
    Selection() = default;
    explicit Selection(std::vector<std::string> paths) : paths_(std::move(paths)) {}
    bool empty() const { return paths_.empty(); }
    /// Whether a setting is meant, or for a path with settings below it, whether all of them are.
    bool holds(std::string_view path) const;
    /// Whether something at or below the path is meant.
    bool touches(std::string_view path) const;
    const std::vector<std::string>& paths() const { return paths_; }

private:
    std::vector<std::string> paths_;
};
/// Paths that name nothing, each with the nearest one that does.
std::vector<Error> unknownPaths(const Selection& selection);

/// Forgets what is not meant.
void keepOnly(const Selection& selection, Settings* settings);
void keepOnly(const Selection& selection, Status* status);

/// The members of a device's settings in JSON, every one of them; what is unknown is null.
/// @param status  null where it was not read
Data settingsData(const Settings& settings, const Status* status);
enum class Removals {
    left_out,
    named,  ///< an entry that is known not to be there is one to be removed
};
/// The settings as a set-up in TOML; what is unknown or read only is left out.
std::string tomlText(const Settings& settings, Removals removals = Removals::left_out);
/// Every setting that is known, by path and as files have it; of tables the entries that are there.
std::vector<std::pair<std::string, Data>> valuesOf(const Settings& settings);

}  // namespace kovgui::settings
