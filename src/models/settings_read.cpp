#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <unordered_map>

#include "lib/text.h"
#include "src/models/firmware_guard.h"
#include "src/models/settings_can.h"
#include "src/models/settings_data.h"
#include "src/models/settings_table.h"
#include "src/models/settings_xml.h"
#include "src/models/vlan_form.h"

namespace kovgui::settings {
namespace {

constexpr int format = 1;
constexpr int64_t max_standard_identifier = 0x7FF;
constexpr int64_t max_extended_identifier = 0x1FFFFFFF;

/// What tells no mirror port from an unknown one in a printed document: both are null there.
constexpr const char* mirror_known = "to_known";

/// Members that a printed document has beside its settings.
constexpr const char* ignored_members[] = {"serial", "kind", "source", "read_at", "errors"};

struct Setting {
    const Row* row;
    int port;
};

/// The settings by path, and every path above one of them.
struct Paths {
    std::unordered_map<std::string, Setting> settings;
    std::set<std::string> tables;
};

const Paths& paths() {
    static const Paths all = [] {
        Paths made;
        forEachSetting([&](const Row& row, int port) { made.settings[row.pathOf(port)] = {&row, port}; });
        for (const std::string& path : allPaths())
            for (size_t slash = path.rfind('/'); slash > 0; slash = path.rfind('/', slash - 1))
                made.tables.insert(path.substr(0, slash));
        return made;
    }();
    return all;
}

/// What may stand in a table.
std::vector<std::string> membersOf(const std::string& table) {
    std::set<std::string> names;
    for (const std::string& path : allPaths()) {
        if (!path.starts_with(table + "/")) continue;
        const std::string rest = path.substr(table.size() + 1);
        names.insert(rest.substr(0, rest.find('/')));
    }
    if (table.empty()) names.insert({"format", "device", "whole"});
    return {names.begin(), names.end()};
}

class SetUpReader {
public:
    explicit SetUpReader(SetUp* set_up) : set_up_(*set_up) {}

    void read(const Data& document) {
        const Data* top = &document;
        if (top->is(Data::Kind::list) && top->items().size() == 1) top = &top->items()[0];
        if (!top->is(Data::Kind::table)) {
            const bool several = document.items().size() > 1;
            return error("bad_value", "", *top,
                         several ? "it holds the settings of " + std::to_string(document.items().size()) +
                                       " devices; a set-up is one table"
                                 : "a set-up is one table, not " + top->shown());
        }
        const Data* const kind = top->find("kind");
        printed_ = kind && kind->text() == "settings";
        for (const auto& [name, value] : top->members())
            readTop(name, value);
        checkRate();
    }

private:
    void error(const char* code, const std::string& path, const Data& at, const std::string& message,
               const std::string& hint = {}) {
        set_up_.errors.push_back(
            {code, path, at.line, at.column, (path.empty() ? "" : path + ": ") + message, hint});
    }
    void badValue(const std::string& path, const Data& value, const std::string& must) {
        error("bad_value", path, value, must + ", not " + value.shown());
    }
    void unknown(const std::string& table, const std::string& name, const Data& at,
                 std::span<const std::string> known) {
        const std::string nearest = nearestName(name, known);
        error("unknown_path", table + "/" + name, at, "there is no such setting",
              nearest.empty() ? "" : "Did you mean " + Data(nearest).shown() + "?");
    }
    void notePlace(const std::string& path, const Data& at) { set_up_.places[path] = {at.line, at.column}; }

    void readTop(const std::string& name, const Data& value) {
        if (name == "format") {
            if (value != Data(format)) badValue("/format", value, "must be " + std::to_string(format));
        } else if (name == "device") {
            readGuards(value);
        } else if (name == "whole") {
            readWhole(value);
        } else if (name == "status") {
            if (!printed_) error("read_only", "/status", value, "is read only");
        } else if (std::ranges::find(ignored_members, name, [](const char* one) {
                       return std::string(one);
                   }) == std::end(ignored_members)) {
            readMember("", name, value);
        }
    }

    void readGuards(const Data& value) {
        if (!value.is(Data::Kind::table)) return badValue("/device", value, "must be a table");
        for (const auto& [name, guard] : value.members()) {
            const std::string known[] = {"serial", "firmware"};
            std::string* const place = name == "serial"     ? &set_up_.guard_serial
                                       : name == "firmware" ? &set_up_.guard_firmware
                                                            : nullptr;
            if (!place)
                unknown("/device", name, guard, known);
            else if (guard.text().empty())
                badValue("/device/" + name, guard, "must be a text");
            else if (name == "firmware" && !isVersionGuard(guard.text()))
                badValue("/device/firmware", guard, "must be like \">= 1.6\"");
            else
                *place = guard.text();
        }
    }

    void readWhole(const Data& value) {
        if (!value.is(Data::Kind::list)) return badValue("/whole", value, "must be a list");
        for (const Data& item : value.items()) {
            if (item.text() == "vlan.entry")
                set_up_.settings.whole_vlans = true;
            else if (item.text() == "mac.static")
                set_up_.settings.whole_macs = true;
            else
                badValue("/whole", item, "must be \"vlan.entry\" or \"mac.static\"");
        }
    }

    void readMember(const std::string& table, const std::string& name, const Data& value) {
        const std::string path = table + "/" + name;
        if (printed_ && table == "/mirror" && name == mirror_known) return;
        const auto setting = paths().settings.find(path);
        if (setting != paths().settings.end()) return readSetting(setting->second, path, value);
        if (path == vlan_entry_path) return readEntries(path, "vid", value, &SetUpReader::readVlan);
        if (path == static_mac_path) return readEntries(path, "entry", value, &SetUpReader::readMac);
        if (path == can_timing_path) return readTiming(value);
        if (path == can_bit_rate_path) return readRate(value);
        if (path == can_receive_path) return readReceive(value);
        if (!paths().tables.contains(path)) return unknown(table, name, value, membersOf(table));
        if (value.isNull()) return;
        if (!value.is(Data::Kind::table)) return badValue(path, value, "must be a table");
        if (path == "/mirror" && printed_) {
            const Data* const known = value.find(mirror_known);
            unknown_mirror_ = !known || !known->boolean();
        }
        for (const auto& [member, below] : value.members())
            readMember(path, member, below);
    }

    void readSetting(const Setting& setting, const std::string& path, const Data& value) {
        const Row& row = *setting.row;
        if (row.read_only) {
            if (!printed_) error("read_only", path, value, "is read only");
            (void)readValue(row, value, &row.of(set_up_.settings, setting.port));
            return;
        }
        if (value.isNull() && (row.kind != Kind::port_or_none || unknown_mirror_)) return;
        if (const std::string must = readValue(row, value, &row.of(set_up_.settings, setting.port));
            !must.empty())
            return badValue(path, value, must);
        notePlace(path, value);
    }

    // --- Objects

    /// The members of one object, which must all be there but for the optional ones.
    class Object {
    public:
        Object(SetUpReader* reader, const std::string& path, const Data& data)
            : reader_(*reader), path_(path), data_(data) {
            if (!data.is(Data::Kind::table)) fail(data, "must be a table");
        }
        bool good() const { return good_; }

        int64_t number(const char* name, int64_t minimum, int64_t maximum, bool optional = false) {
            const Data* const value = member(name, optional);
            if (!value) return minimum;
            if (value->is(Data::Kind::integer) && value->integer() >= minimum && value->integer() <= maximum)
                return value->integer();
            fail(*value, std::string(name) + " must be a whole number from " + std::to_string(minimum) +
                             " to " + std::to_string(maximum));
            return minimum;
        }
        bool flag(const char* name, bool optional = false) {
            const Data* const value = member(name, optional);
            if (value && !value->is(Data::Kind::boolean))
                fail(*value, std::string(name) + " must be true or false");
            return value && value->boolean();
        }
        uint8_t ports(const char* name) {
            uint8_t ports = 0;
            const Data* const value = member(name, false);
            if (!value) return 0;
            if (const std::string must = readPorts(*value, &ports); !must.empty())
                fail(*value, std::string(name) + " " + must);
            return ports;
        }
        const Data* member(const char* name, bool optional) {
            known_.push_back(name);
            const Data* const value = data_.find(name);
            if (!value && !optional && good_) {
                missing_ = name;
                good_ = false;
            }
            return value;
        }
        void fail(const Data& value, const std::string& must) {
            reader_.badValue(path_, value, must);
            good_ = false;
        }
        /// @return whether it can be used; says which members are none
        bool end() {
            for (const auto& [name, value] : data_.members()) {
                if (std::ranges::find(known_, name) != known_.end()) continue;
                reader_.unknown(path_, name, value, known_);
                if (nearestName(name, known_) == missing_) missing_.clear();  // it is spelt so
                good_ = false;
            }
            tellMissing();
            return good_;
        }
        void tellMissing() {
            if (!missing_.empty()) reader_.error("bad_value", path_, data_, missing_ + " is missing");
        }

    private:
        SetUpReader& reader_;
        const std::string& path_;
        const Data& data_;
        std::vector<std::string> known_;
        std::string missing_;
        bool good_ = true;
    };

    using ReadEntry = bool (SetUpReader::*)(int number, Object& object);

    /// Entries by their numbers, or a list of them that say their numbers themselves.
    void readEntries(const std::string& path, const char* number_name, const Data& value,
                     ReadEntry read_one) {
        if (value.isNull()) return;
        const bool vlans = path == vlan_entry_path;
        const int minimum = vlans ? oabr::vlan_min_vid : 0;
        const int maximum = vlans ? oabr::vlan_max_vid : ksz_smac_entries - 1;
        if (value.is(Data::Kind::table)) {
            for (const auto& [name, entry] : value.members()) {
                int number = -1;
                const auto [end, bad] = std::from_chars(name.data(), name.data() + name.size(), number);
                const bool whole = bad == std::errc() && end == name.data() + name.size();
                if (!whole || number < minimum || number > maximum) {
                    error("bad_value", path + "/" + name, entry,
                          std::string(number_name) + " must be a whole number from " +
                              std::to_string(minimum) + " to " + std::to_string(maximum));
                    continue;
                }
                readEntry(path, number, nullptr, entry, read_one);
            }
        } else if (value.is(Data::Kind::list)) {
            for (const Data& entry : value.items()) {
                Object object(this, path, entry);
                const auto number = static_cast<int>(object.number(number_name, minimum, maximum));
                object.tellMissing();
                if (object.good()) readEntry(path, number, &object, entry, read_one);
            }
        } else {
            badValue(path, value, "must be a table or a list of tables");
        }
    }

    void readEntry(const std::string& table, int number, Object* begun, const Data& entry,
                   ReadEntry read_one) {
        const std::string path = entryPath(table.c_str(), number);
        if (set_up_.places.contains(path)) return error("conflict", path, entry, "is there twice");
        notePlace(path, entry);
        if (!begun && entry.text() == "none") return removeEntry(table, number);
        Object object(this, path, entry);
        if (begun) object.member(table == vlan_entry_path ? "vid" : "entry", false);
        if (object.good()) (this->*read_one)(number, object);
    }

    void removeEntry(const std::string& table, int number) {
        if (table == vlan_entry_path)
            set_up_.settings.vlans[number] = {};
        else
            set_up_.settings.macs[number] = {};
    }

    bool readVlan(int vid, Object& object) {
        ksz_vlan_entry entry{true, 0, 0};
        entry.fid = static_cast<uint8_t>(object.number("fid", 0, ksz_max_fid));
        entry.ports = object.ports("members");
        if (!object.end()) return false;
        set_up_.settings.vlans[vid] = entry;
        return true;
    }

    bool readMac(int index, Object& object) {
        ksz_smac_entry entry{};
        entry.valid = true;
        if (const Data* const mac = object.member("mac", false); mac && !readMacText(mac->text(), entry.mac))
            object.fail(*mac, "mac must be six hexadecimal groups, as in \"80:01:02:03:04:05\"");
        entry.ports = object.ports("members");
        entry.fid = static_cast<uint8_t>(object.number("fid", 0, ksz_max_fid, true));
        entry.use_fid = object.flag("use_fid", true);
        entry.st_override = object.flag("override", true);
        if (!object.end()) return false;
        set_up_.settings.macs[index] = entry;
        return true;
    }

    static bool readMacText(const std::string& text, uint8_t* mac) {
        size_t digits = 0, groups = 1;
        for (const char c : text) {
            const bool digit = std::isxdigit(static_cast<unsigned char>(c)) != 0;
            if (!digit && (c != ':' || digits == 0)) return false;
            digits = digit ? digits + 1 : 0;
            groups += !digit;
            if (digits > 2) return false;
        }
        if (digits == 0 || groups != 6) return false;
        strtomac(text.c_str(), mac);
        return true;
    }

    void readTiming(const Data& value) {
        if (value.isNull()) return;
        const std::string path = can_timing_path;
        Object object(this, path, value);
        if (!object.good()) return;
        CanTiming timing;
        const auto number = [&](const char* name, int maximum) {
            return static_cast<int>(object.number(name, 1, maximum));
        };
        timing.prescaler = number("prescaler", 64);
        timing.propagation = number("propagation", 8);
        timing.phase1 = number("phase1", 8);
        timing.phase2 = number("phase2", 8);
        timing.sync_jump = number("sync_jump", 4);
        timing.phase2_own = object.flag("phase2_own");
        timing.triple_sampling = object.flag("triple_sampling");
        if (!object.end()) return;
        // What a device says of itself is taken as it is: it is not written unless it differs.
        if (!printed_)
            for (const std::string& text : oabr::timingErrors(speedOf(timing)))
                error("bad_value", path, value, text);
        notePlace(path, value);
        set_up_.settings.can_timing = timing;
    }

    void readRate(const Data& value) {
        if (value.isNull()) return;
        if (!value.is(Data::Kind::integer) || value.integer() < (printed_ ? 1 : min_can_rate) ||
            value.integer() > (printed_ ? INT32_MAX : max_can_rate))
            return badValue(can_bit_rate_path, value,
                            "must be a whole number from " + std::to_string(min_can_rate) + " to " +
                                std::to_string(max_can_rate));
        rate_ = value;
    }

    /// The rate goes with the timing, whichever of them came first.
    void checkRate() {
        if (rate_.isNull()) return;
        auto& timing = set_up_.settings.can_timing;
        const auto rate = static_cast<int>(rate_.integer());
        if (timing) {
            if (bitRateOf(*timing) != rate)
                error("conflict", can_bit_rate_path, rate_,
                      "the timing beside it gives " + std::to_string(bitRateOf(*timing)) + " bit/s");
            return;
        }
        constexpr double bad_error = 0.01;
        double off = 0;
        timing = timingOfRate(rate, &off);
        notePlace(can_bit_rate_path, rate_);
        if (off > bad_error || off < -bad_error)
            set_up_.warnings.push_back({"conflict", can_bit_rate_path, rate_.line, rate_.column,
                                        std::string(can_bit_rate_path) + ": the nearest timing gives " +
                                            std::to_string(bitRateOf(*timing)) + " bit/s; the bus may fail",
                                        ""});
    }

    void readReceive(const Data& value) {
        if (value.isNull()) return;
        const std::string path = can_receive_path;
        Object object(this, path, value);
        if (!object.good()) return;
        CanReceive receive;
        receive.standard = object.flag("standard");
        receive.extended = object.flag("extended");
        const bool narrow = receive.standard && !receive.extended && !printed_;
        const int64_t maximum = narrow ? max_standard_identifier : max_extended_identifier;
        const auto identifier = [&](const char* name) {
            return static_cast<uint32_t>(object.number(name, 0, maximum));
        };
        receive.filter1 = filterOf(identifier("filter1"), receive.standard, receive.extended);
        receive.filter2 = filterOf(identifier("filter2"), receive.standard, receive.extended);
        receive.mask = identifier("mask");
        if (!object.end()) return;
        notePlace(path, value);
        set_up_.settings.can_receive = receive;
    }

    SetUp& set_up_;
    bool printed_ = false;  ///< what "show -j" prints
    bool unknown_mirror_ = false;
    Data rate_;
};

// ---- Texts and files ----

// A full VLAN table makes half a megabyte.
constexpr size_t max_text = size_t{8} << 20;

void syntaxError(SetUp* set_up, const SyntaxError& error) {
    set_up->errors.push_back({"file_syntax", "", error.line, error.column, error.message, ""});
}

std::string_view withoutMark(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return text;
}

enum class TextKind { toml, json, xml };

TextKind kindOf(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return TextKind::toml;
    if (text[first] == '<') return TextKind::xml;
    if (text[first] == '{') return TextKind::json;
    if (text[first] != '[') return TextKind::toml;
    const size_t second = text.find_first_not_of(blanks, first + 1);
    const bool json = second != std::string_view::npos && (text[second] == '{' || text[second] == ']');
    return json ? TextKind::json : TextKind::toml;
}

struct FileCloser {
    void operator()(FILE* file) const {
        if (file != stdin) std::fclose(file);
    }
};

}  // namespace

void readSetUp(const Data& document, SetUp* set_up) {
    SetUpReader(set_up).read(document);
}

SetUp parseSetUp(std::string_view text) {
    SetUp set_up;
    text = withoutMark(text);
    const TextKind kind = kindOf(text);
    if (kind == TextKind::xml) {
        readXmlSetUp(text, &set_up);
        return set_up;
    }
    Data document;
    const SyntaxError error =
        kind == TextKind::json ? parseJson(text, &document) : parseToml(text, &document);
    if (!error.message.empty())
        syntaxError(&set_up, error);
    else
        readSetUp(document, &set_up);
    std::ranges::stable_sort(set_up.errors, {},
                             [](const Error& one) { return std::pair(one.line, one.column); });
    return set_up;
}

bool isXml(std::string_view text) {
    return kindOf(withoutMark(text)) == TextKind::xml;
}

std::string readSetUpText(const std::string& path, std::string* text) {
    std::error_code code;
    if (path != "-" && std::filesystem::is_directory(path, code)) return "this is a directory";
    const std::unique_ptr<FILE, FileCloser> file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    if (!file) return std::strerror(errno);
    char block[65536];
    while (text->size() <= max_text) {
        const size_t got = std::fread(block, 1, sizeof block, file.get());
        text->append(block, got);
        if (got == 0) break;
    }
    if (std::ferror(file.get())) return std::strerror(errno);
    return text->size() > max_text ? "this is far larger than any set-up" : "";
}

SetUp loadSetUp(const std::string& path) {
    std::string text;
    const std::string error = readSetUpText(path, &text);
    if (error.empty()) return parseSetUp(text);
    SetUp set_up;
    set_up.errors.push_back(
        {"file_unreadable", "", 0, 0, (path == "-" ? "standard input" : path) + ": " + error + ".", ""});
    return set_up;
}

// ---- Lint ----

void lint(SetUp* set_up) {
    const Settings& settings = set_up->settings;
    const auto warn = [&](const std::string& path, const std::string& text) {
        const auto found = set_up->places.find(path);
        const SetUp::Place at = found == set_up->places.end() ? SetUp::Place{0, 0} : found->second;
        set_up->warnings.push_back({"conflict", path, at.line, at.column, path + ": " + text, ""});
    };
    std::map<int, int> vid_of_fid;
    for (const auto& [vid, entry] : settings.vlans) {
        if (!entry.valid) continue;
        const std::string path = entryPath(vlan_entry_path, vid);
        if (entry.ports == 0) warn(path, "the VLAN has no members");
        const auto [first, fresh] = vid_of_fid.emplace(entry.fid, vid);
        if (!fresh)
            warn(path,
                 "shares FID " + std::to_string(entry.fid) + " with VLAN " + std::to_string(first->second));
    }
    for (const auto& [index, entry] : settings.macs)
        if (entry.valid && entry.ports == 0)
            warn(entryPath(static_mac_path, index), "frames for the address go nowhere");
    for (const device_port& port : device_ports) {
        const PortSettings& one = settings.port(port.number);
        const auto entry = one.pvid ? settings.vlans.find(*one.pvid) : settings.vlans.end();
        const bool there = entry != settings.vlans.end() && entry->second.valid;
        const bool filtered = one.pvid_filter == 1 || one.vtable_filter == 1;
        const bool names_entries = settings.whole_vlans || !settings.vlans.empty();
        if (one.pvid && filtered && names_entries && !there)
            warn(rowOf(&PortSettings::pvid).pathOf(port.number), "no entry of the file has VID " +
                                                                     std::to_string(*one.pvid) +
                                                                     ", and the port's filter is on");
        if (settings.mirror_to == port.number && one.mirror_from && *one.mirror_from != 0)
            warn(rowOf(&PortSettings::mirror_from).pathOf(port.number),
                 "the port is mirrored to and cannot be mirrored");
    }
}

}  // namespace kovgui::settings
