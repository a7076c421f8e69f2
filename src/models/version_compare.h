#pragma once

#include <string>

#include "src/OABR-Switch/identity.h"

namespace kovgui {

/// What a firmware file is to a device.
enum class FirmwareComparison { no_device, other_target, newer, same, older };

/// One firmware and what it is for.
struct FirmwareIdentity {
    std::string target;  ///< "unknown" matches every other
    oabr::FirmwareVersion version;
};

/// Targets are the same when they differ in nothing but case, blanks and underscores.
[[nodiscard]] FirmwareComparison compareFirmware(const FirmwareIdentity& file,
                                                 const FirmwareIdentity& device);

/// In words for the operator.
const char* comparisonText(FirmwareComparison comparison);

}  // namespace kovgui
