#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "src/models/Data.h"
#include "src/platform/state_files.h"

namespace kovgui {

/// SHA-256 in hexadecimal digits.
std::string sha256Of(std::string_view bytes);
std::string sha256Of(std::span<const uint8_t> bytes);

/// Bytes as hexadecimal digits, and back.
std::string hexText(std::span<const uint8_t> bytes);
/// @return nothing for a text that is no whole number of bytes
std::optional<std::vector<uint8_t>> bytesOfHex(std::string_view text);

/// Now, as ISO 8601 in UTC.
std::string utcNow();

/// What this computer remembers of one device: `$OABR_STATE_DIR/SERIAL`, without that variable
/// `$XDG_STATE_HOME/oabr-korvex/SERIAL` (else under ~/.local/state). Every file carries its check sum, format
/// and serial number; one that is damaged, of a later version or of another device is moved aside, and what
/// was done with it can be asked for. Nothing here is fatal.
class StateFolder {
public:
    explicit StateFolder(const std::string& serial);

    const std::string& serial() const { return serial_; }
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

    /// Makes the folder and keeps other programs from changing it until the lock goes.
    /// @param failure  takes why that was not possible, a sentence; empty otherwise
    [[nodiscard]] platform::FileLock open(std::string* failure);

    /// Whether the last `open` failed because another program has the folder.
    bool inUse() const { return in_use_; }

    /// A document that was saved; nothing where there is none that can be used.
    std::optional<settings::Data> load(const std::string& name);
    /// @return why it could not be saved, a sentence; empty when it was
    [[nodiscard]] std::string save(const std::string& name, const settings::Data& document);
    [[nodiscard]] std::string remove(const std::string& name);
    /// The names of the documents that begin so, sorted.
    std::vector<std::string> names(const std::string& prefix);

    /// Sentences about files that could not be used, since they were asked for last.
    std::vector<std::string> takeMessages();

    /// Moves a file out of the way that cannot be used, and says so.
    /// @param why  "is damaged"
    void setAside(const std::string& name, const std::string& why);

private:
    bool isOurs();

    std::string serial_;
    std::string path_;  // empty where the user has no place for it
    std::vector<std::string> messages_;
    bool in_use_ = false;
};

}  // namespace kovgui
