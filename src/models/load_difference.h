#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "src/models/config_panel.h"
#include "src/models/settings_data.h"
#include "src/models/settings_diff.h"

// What a file would change, row by row, for somebody who picks from it. Nothing here talks to a device.

namespace kovgui::settings {

/// What a file asks for of some of the window's pages.
struct LoadedFile {
    SetUp set_up;
    /// What the file names and nobody knows, or what it lacks. The page it belongs to is not loaded then.
    struct Unknown {
        std::optional<ConfigPanel> panel;  ///< nothing where it belongs to none
        std::string setting;               ///< its path, or the element of an XML file
        std::string text;
        bool missing = false;  ///< it stands for a page that is not there at all
    };
    std::vector<Unknown> unknown;
    std::string error;  ///< why nothing of it can be used; empty when it can

    /// Takes errors that stand at a setting out of those that make the whole file unusable.
    void sortErrors();
};

using PanelChoice = std::array<bool, config_panel_count>;
/// The pages that a file holds something of.
PanelChoice panelsIn(const LoadedFile& file);
/// Forgets what is on other pages.
void keepPanels(const PanelChoice& panels, LoadedFile* file);

class LoadDifference {
public:
    enum class State {
        same,
        differs,
        fixed,    ///< differs, and cannot be changed
        unknown,  ///< stands in the file and is no setting, or no value of one
    };
    struct Row {
        std::optional<ConfigPanel> panel;
        std::string setting;
        Data now, stored, file;
        State state = State::same;
        bool ticked = false;
        std::string note;  ///< what is wrong with it; empty for nothing
    };

    /// @param now         what the device holds, as far as the file names it
    /// @param difference  from there to the file's settings
    /// @param stored      what the EEPROM holds
    LoadDifference(LoadedFile file, Settings now, const Difference& difference, const Settings& stored);
    /// Two files: `Row::now` is the first one's value, and its settings that the second does not name are
    /// fixed.
    static LoadDifference ofFiles(const LoadedFile& first, LoadedFile second);

    /// By page, in the order of their paths. At first all are ticked that can be.
    const std::vector<Row>& rows() const { return rows_; }
    bool canTick(size_t row) const { return rows_[row].state == State::differs; }
    void tick(size_t row, bool on);
    /// Ticks as another list of rows has it, where there are the same settings.
    void tickAs(const LoadDifference& other);
    size_t ticked() const;
    /// "File: 52 settings, 7 differ, 1 unknown, 2 cannot be changed"
    std::string headLine() const;

    const SetUp& setUp() const { return file_.set_up; }
    /// The ticked rows as a set-up.
    Settings wanted() const;
    /// The ticked rows that change nothing without others that are not.
    std::vector<std::string> withoutEffect() const;
    /// Whether a plan changes what the ticked rows show.
    bool isShownBy(const Difference& difference) const;

private:
    LoadDifference() = default;
    void addRow(Row row);
    void addDifference(const Difference& difference, const Settings& stored);
    void addFixed(const Settings& stored);
    void finish();

    LoadedFile file_;
    Settings now_;
    std::vector<Row> rows_;
    bool of_files_ = false;
};

/// A value as a row shows it: words and lists without quotes; empty for null.
std::string shownValue(const Data& value);

}  // namespace kovgui::settings
