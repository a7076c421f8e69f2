#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

#include "lib/messages.h"

namespace kovgui::oabr {

// What a device says about itself. The bytes stand in the order in which they are shown.

struct FirmwareVersion {
    std::array<uint8_t, 4> bytes{};

    /// "01.06.00.00"
    std::string toString() const;
    auto operator<=>(const FirmwareVersion&) const = default;
    /// Whether a device that runs it is for updating only: nobody else connects to it.
    [[nodiscard]] bool isTooOld() const;
};

/// What to do about a firmware that is too old, for the operator, without a full stop.
std::string updateAdvice();

struct FirmwareDate {
    std::array<uint8_t, 4> bytes{};  ///< century, year, month, day

    /// "2021/07/14"
    std::string toString() const;
};

struct BootloaderVersion {
    std::array<uint8_t, 4> bytes{};  ///< number, character, number, character

    /// "01b05a"; "unknown" when a byte is no 7-bit character.
    std::string toString() const;
};

struct BootloaderDesc {
    std::array<char, bls_max_length + 1> text{};  ///< terminated

    /// "unknown" when it was not read or holds a byte above 0x7E.
    std::string toString() const;
};

}  // namespace kovgui::oabr
