#include "src/models/load_difference.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "src/models/settings_table.h"

namespace kovgui::settings {

using State = LoadDifference::State;

// ---- The file ----

void LoadedFile::sortErrors() {
    for (const Error& one : set_up.errors) {
        const std::string top = one.path.substr(0, one.path.find('/', 1));
        const bool of_setting = !top.empty() && top != "/format" && top != "/device" && top != "/whole";
        if (!of_setting) {
            error += (one.line > 0 ? "line " + std::to_string(one.line) + ": " : "") + one.message + "\n";
        } else if (one.code != "read_only") {
            const std::string begin = one.path + ": ";
            const std::string text =
                one.message.starts_with(begin) ? one.message.substr(begin.size()) : one.message;
            unknown.push_back(
                {panelOf(one.path), one.path, text + (one.hint.empty() ? "" : ". " + one.hint)});
        }
    }
    set_up.errors.clear();
}

PanelChoice panelsIn(const LoadedFile& file) {
    PanelChoice held{};
    const auto hold = [&held](const std::optional<ConfigPanel>& panel) {
        if (panel) held[static_cast<size_t>(*panel)] = true;
    };
    for (const auto& [path, value] : valuesOf(file.set_up.settings))
        hold(panelOf(path));
    for (const LoadedFile::Unknown& one : file.unknown)
        if (!one.missing) hold(one.panel);
    return held;
}

void keepPanels(const PanelChoice& panels, LoadedFile* file) {
    const auto isMeant = [&](const std::optional<ConfigPanel>& panel) {
        return !panel || panels[static_cast<size_t>(*panel)];
    };
    std::erase_if(file->unknown, [&](const auto& one) { return !isMeant(one.panel); });
    Settings* const settings = &file->set_up.settings;
    std::vector<std::string> paths;
    for (const std::string& path : allPaths())
        if (isMeant(panelOf(path))) paths.push_back(path);
    keepOnly(Selection(std::move(paths)), settings);
}

// ---- Its rows ----

LoadDifference::LoadDifference(LoadedFile file, Settings now, const Difference& difference,
                               const Settings& stored)
    : file_(std::move(file)), now_(std::move(now)) {
    addDifference(difference, stored);
    addFixed(stored);
    finish();
}

LoadDifference LoadDifference::ofFiles(const LoadedFile& first, LoadedFile second) {
    LoadDifference made;
    made.of_files_ = true;
    made.now_ = first.set_up.settings;
    made.file_ = std::move(second);
    for (LoadedFile::Unknown one : first.unknown) {
        one.text = "in the first file: " + one.text;
        made.file_.unknown.push_back(std::move(one));
    }
    made.addDifference(differenceOf(made.now_, made.file_.set_up.settings), {});
    made.addFixed({});
    made.finish();
    return made;
}

namespace {

std::map<std::string, Data> valuesByPath(const Settings& settings) {
    const auto values = valuesOf(settings);
    return {values.begin(), values.end()};
}

const Data& at(const std::map<std::string, Data>& values, const std::string& path) {
    static const Data nothing;
    const auto found = values.find(path);
    return found == values.end() ? nothing : found->second;
}

}  // namespace

void LoadDifference::addRow(Row row) {
    row.panel = panelOf(row.setting);
    rows_.push_back(std::move(row));
}

void LoadDifference::addDifference(const Difference& difference, const Settings& stored) {
    const auto now = valuesByPath(now_), kept = valuesByPath(stored);
    const auto file = valuesByPath(file_.set_up.settings);
    std::map<std::string, const Change*> changes;
    for (const Change& change : difference.changes) {
        changes[change.path] = &change;
        addRow({{}, change.path, change.from, change.stored, change.to, State::differs, true, ""});
    }
    std::set<std::string> read_only;
    forEachSetting([&](const settings::Row& row, int port) {
        if (row.read_only) read_only.insert(row.pathOf(port));
    });
    for (const auto& [path, value] : file)
        if (!changes.contains(path) && !read_only.contains(path))
            addRow({{}, path, at(now, path), at(kept, path), value, State::same, false, ""});
    if (!of_files_) return;
    for (const auto& [path, value] : now)
        if (!changes.contains(path) && !file.contains(path))
            addRow({{}, path, value, {}, {}, State::fixed, false, "The second file does not name it."});
}

void LoadDifference::addFixed(const Settings& stored) {
    forEachSetting([&](const settings::Row& row, int port) {
        const Value& wanted = row.of(file_.set_up.settings, port);
        if (!row.read_only || !wanted) return;
        const Value& now = row.of(now_, port);
        const State state = now == wanted ? State::same : State::fixed;
        addRow({{},
                row.pathOf(port),
                dataOf(row, now),
                dataOf(row, row.of(stored, port)),
                dataOf(row, wanted),
                state,
                false,
                state == State::fixed ? "It can be read only." : ""});
    });
}

void LoadDifference::finish() {
    PanelChoice left_out{};
    for (const LoadedFile::Unknown& one : file_.unknown) {
        if (one.panel && !of_files_) left_out[static_cast<size_t>(*one.panel)] = true;
        rows_.push_back({one.panel, one.setting, {}, {}, {}, State::unknown, false, one.text});
    }
    for (Row& row : rows_) {
        if (row.state != State::differs || !row.panel || !left_out[static_cast<size_t>(*row.panel)]) continue;
        row.state = State::fixed;
        row.ticked = false;
        row.note = "Something on its page is unknown, and a page is loaded whole.";
    }
    std::ranges::stable_sort(rows_, [](const Row& a, const Row& b) {
        const auto place = [](const Row& row) {
            return std::tuple(row.panel ? static_cast<size_t>(*row.panel) : config_panel_count,
                              row.state != State::unknown);
        };
        if (place(a) != place(b)) return place(a) < place(b);
        return pathLess(a.setting, b.setting);
    });
}

// ---- What is picked ----

void LoadDifference::tick(size_t row, bool on) {
    rows_[row].ticked = on && canTick(row);
}

void LoadDifference::tickAs(const LoadDifference& other) {
    std::map<std::string, bool> ticked;
    for (const Row& row : other.rows_)
        if (row.state == State::differs) ticked[row.setting] = row.ticked;
    for (size_t i = 0; i < rows_.size(); ++i)
        if (const auto found = ticked.find(rows_[i].setting); found != ticked.end()) tick(i, found->second);
}

size_t LoadDifference::ticked() const {
    return static_cast<size_t>(std::ranges::count(rows_, true, &Row::ticked));
}

std::string LoadDifference::headLine() const {
    const auto count = [this](State state) { return std::ranges::count(rows_, state, &Row::state); };
    const auto counted = [](auto number, const char* one, const char* more) {
        return std::to_string(number) + " " + (number == 1 ? one : more);
    };
    return (of_files_ ? "Files: " : "File: ") + counted(rows_.size(), "setting", "settings") + ", " +
           counted(count(State::differs), "differs", "differ") + ", " +
           std::to_string(count(State::unknown)) + " unknown, " + std::to_string(count(State::fixed)) +
           (of_files_ ? " cannot be saved" : " cannot be changed");
}

Settings LoadDifference::wanted() const {
    std::map<std::string, const Row*> meant;
    for (const Row& row : rows_)
        if (row.ticked) meant[row.setting] = &row;
    const Settings& file = file_.set_up.settings;
    Settings wanted;
    forEachSetting([&](const settings::Row& row, int port) {
        // Not the file's own value: a port that is mirrored to is not mirrored.
        if (const auto found = meant.find(row.pathOf(port)); found != meant.end())
            (void)readValue(row, found->second->file, &row.of(wanted, port));
    });
    if (meant.contains(can_timing_path)) wanted.can_timing = file.can_timing;
    if (meant.contains(can_receive_path)) wanted.can_receive = file.can_receive;
    const auto takeEntries = [&](const char* table, const auto& entries, auto* taken, int end) {
        for (int number = 0; number < end; ++number) {
            if (!meant.contains(entryPath(table, number))) continue;
            const auto found = entries.find(number);
            if (found == entries.end())
                (*taken)[number] = {};
            else
                (*taken)[number] = found->second;
        }
    };
    takeEntries(vlan_entry_path, file.vlans, &wanted.vlans, ksz_max_vid + 1);
    takeEntries(static_mac_path, file.macs, &wanted.macs, ksz_smac_entries);
    return wanted;
}

namespace {

std::map<std::string, const Change*> changesByPath(const Difference& difference) {
    std::map<std::string, const Change*> changes;
    for (const Change& change : difference.changes)
        changes[change.path] = &change;
    return changes;
}

}  // namespace

std::vector<std::string> LoadDifference::withoutEffect() const {
    const Difference difference = differenceOf(now_, wanted());
    const auto changes = changesByPath(difference);
    std::vector<std::string> left_over;
    for (const Row& row : rows_)
        if (row.ticked && !changes.contains(row.setting)) left_over.push_back(row.setting);
    return left_over;
}

bool LoadDifference::isShownBy(const Difference& difference) const {
    const auto changes = changesByPath(difference);
    return changes.size() == ticked() && std::ranges::all_of(rows_, [&](const Row& row) {
               if (!row.ticked) return true;
               const auto change = changes.find(row.setting);
               return change != changes.end() && row.now == change->second->from &&
                      row.file == change->second->to;
           });
}

std::string shownValue(const Data& value) {
    const auto joined = [](const auto& parts, auto text) {
        std::string all;
        for (const auto& part : parts)
            all += (all.empty() ? "" : ", ") + text(part);
        return all;
    };
    switch (value.kind()) {
        case Data::Kind::null:
            return "";
        case Data::Kind::text:
            return value.text();
        case Data::Kind::list:
            return value.items().empty() ? "none" : joined(value.items(), shownValue);
        case Data::Kind::table:
            return joined(value.members(), [](const Data::Member& member) {
                return member.first + " " +
                       (member.second.is(Data::Kind::list) ? "(" + shownValue(member.second) + ")"
                                                           : shownValue(member.second));
            });
        default:
            return jsonText(value, false);
    }
}

}  // namespace kovgui::settings
