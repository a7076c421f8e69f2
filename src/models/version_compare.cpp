#include "src/models/version_compare.h"

#include <cctype>

namespace kovgui {
namespace {

std::string comparable(const std::string& target) {
    std::string plain;
    for (const char c : target) {
        if (c != ' ' && c != '_') plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return plain;
}

bool sameTarget(const std::string& a, const std::string& b) {
    const std::string first = comparable(a);
    const std::string second = comparable(b);
    return first == second || first == "unknown" || second == "unknown";
}

}  // namespace

FirmwareComparison compareFirmware(const FirmwareIdentity& file, const FirmwareIdentity& device) {
    if (!sameTarget(file.target, device.target)) return FirmwareComparison::other_target;
    if (file.version == device.version) return FirmwareComparison::same;
    return file.version > device.version ? FirmwareComparison::newer : FirmwareComparison::older;
}

const char* comparisonText(FirmwareComparison comparison) {
    switch (comparison) {
        case FirmwareComparison::other_target:
            return "The file is for another target system.";
        case FirmwareComparison::newer:
            return "The file is newer than the device's firmware.";
        case FirmwareComparison::same:
            return "The file is the firmware that the device runs.";
        case FirmwareComparison::older:
            return "The file is older than the device's firmware.";
        case FirmwareComparison::no_device:
            break;
    }
    return "No device is connected to compare the file with.";
}

}  // namespace kovgui
