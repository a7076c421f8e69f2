#include "src/models/StateFolder.h"

#include <nettle/sha2.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace kovgui {

using platform::FileReading;
using settings::Data;

namespace {

constexpr size_t max_file = size_t{1} << 20;
constexpr std::string_view magic = "oabr-korvex ";
constexpr std::string_view format = "1";

/// What a file begins with: whose it is, its format, and the check sum of all that follows.
std::string headOf(std::string_view body) {
    return std::string(magic) + std::string(format) + " " + sha256Of(body) + "\n";
}

/// A serial number as the name of a folder: never a way out of the one above.
std::string folderName(const std::string& serial) {
    std::string name;
    for (const char c : serial) {
        const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                           c == '-' || c == '_';
        const auto byte = static_cast<uint8_t>(c);
        name += plain ? std::string(1, c) : "%" + hexText({&byte, 1});
    }
    return name;
}

std::string folderOf(const std::string& serial) {
    const char* const chosen = std::getenv("OABR_STATE_DIR");
    const std::string all = chosen && *chosen ? chosen : platform::stateDirectory("oabr-korvex");
    return all.empty() || serial.empty() ? "" : all + "/" + folderName(serial);
}

}  // namespace

std::string sha256Of(std::string_view bytes) {
    return sha256Of({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
}

std::string sha256Of(std::span<const uint8_t> bytes) {
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, bytes.size(), bytes.data());
    uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&context, sizeof digest, digest);
    return hexText(digest);
}

std::string hexText(std::span<const uint8_t> bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::optional<std::vector<uint8_t>> bytesOfHex(std::string_view text) {
    std::vector<uint8_t> bytes;
    for (; text.size() >= 2; text.remove_prefix(2)) {
        uint8_t byte = 0;
        const auto [end, failed] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (failed != std::errc() || end != text.data() + 2) return std::nullopt;
        bytes.push_back(byte);
    }
    if (!text.empty()) return std::nullopt;
    return bytes;
}

std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

StateFolder::StateFolder(const std::string& serial) : serial_(serial), path_(folderOf(serial)) {}

platform::FileLock StateFolder::open(std::string* failure) {
    failure->clear();
    if (path_.empty()) {
        *failure = "There is no folder to remember anything in: neither OABR_STATE_DIR nor a home directory.";
        return {};
    }
    std::string why = platform::makeOwnDirectory(path_);
    if (why.empty()) {
        platform::FileLock lock = platform::FileLock::take(file("lock"), &why);
        if (lock) {
            for (const std::string& name : platform::filesIn(path_))  // of a program that was killed
                if (name.find(".new-") != std::string::npos) (void)platform::removeFile(file(name));
            return lock;
        }
        in_use_ = why.empty();
        if (in_use_) {
            *failure = "Another program is writing to " + serial_ + " or to what is remembered of it.";
            return {};
        }
    }
    *failure = "The folder " + path_ + " cannot be used: " + why + ".";
    return {};
}

std::optional<Data> StateFolder::load(const std::string& name) {
    if (path_.empty()) return std::nullopt;
    std::string text;
    const std::string path = file(name);
    switch (platform::readWholeFile(path, max_file, &text)) {
        case FileReading::missing:
            return std::nullopt;
        case FileReading::failed:
            messages_.push_back(path + " cannot be read: " + text + ". Nothing was done with it.");
            return std::nullopt;
        case FileReading::read:
            break;
    }
    if (!isOurs()) return std::nullopt;
    const size_t line = text.find('\n');
    const std::string_view body =
        std::string_view(text).substr(line == std::string::npos ? text.size() : line + 1);
    if (text.starts_with(magic) && !text.starts_with(std::string(magic) + std::string(format) + " ") &&
        line != std::string::npos && text.find(sha256Of(body)) < line) {
        setAside(name, "is of a later version of this program");
        return std::nullopt;
    }
    Data document;
    if (!text.starts_with(headOf(body)) || !parseJson(body, &document).message.empty()) {
        setAside(name, "is damaged");
        return std::nullopt;
    }
    const Data* const serial = document.find("serial");
    if (!serial || serial->text() != serial_) {
        setAside(name, "is of another device");
        return std::nullopt;
    }
    return document;
}

std::string StateFolder::save(const std::string& name, const Data& document) {
    Data whole = Data::table({{"serial", serial_}});
    for (const auto& [member, value] : document.members())
        whole.add(member, value);
    const std::string body = jsonText(whole, false) + "\n";
    const std::string why = platform::writeWholeFile(file(name), headOf(body) + body);
    return why.empty() ? "" : file(name) + " cannot be written: " + why + ".";
}

std::string StateFolder::remove(const std::string& name) {
    const std::string why = platform::removeFile(file(name));
    return why.empty() ? "" : file(name) + " cannot be removed: " + why + ".";
}

std::vector<std::string> StateFolder::names(const std::string& prefix) {
    std::vector<std::string> found;
    if (path_.empty()) return found;
    std::string failure;
    for (const std::string& name : platform::filesIn(path_, &failure))
        if (name.starts_with(prefix) && name.find('.') == std::string::npos) found.push_back(name);
    if (!failure.empty()) messages_.push_back("The folder " + path_ + " cannot be read: " + failure + ".");
    if (!found.empty() && !isOurs()) found.clear();
    return found;
}

/// Else it is said.
bool StateFolder::isOurs() {
    const bool ours = platform::isOwnDirectory(path_);
    if (!ours)
        messages_.push_back("The folder " + path_ +
                            " belongs to somebody else, or others may write to it. Nothing was done with "
                            "what is in it.");
    return ours;
}

void StateFolder::setAside(const std::string& name, const std::string& why) {
    const std::string path = file(name);
    std::string aside = path + ".aside";
    const std::vector<std::string> there = platform::filesIn(path_);
    for (int i = 2; std::ranges::find(there, aside.substr(path_.size() + 1)) != there.end(); ++i)
        aside = path + ".aside-" + std::to_string(i);
    const std::string failure = platform::renameFile(path, aside);
    messages_.push_back(path + " " + why + ". " +
                        (failure.empty() ? "It was moved to " + aside + "; nothing else was done with it."
                                         : "Nothing was done with it."));
}

std::vector<std::string> StateFolder::takeMessages() {
    return std::exchange(messages_, {});
}

}  // namespace kovgui
