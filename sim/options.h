#pragma once

#include <array>
#include <optional>
#include <string>

#include "sim/faults.h"
#include "sim/microcontroller.h"

namespace oabr_sim {

struct options {
    std::string directory;
    std::string serial = "OKVX0001";
    std::string description = "OABR Korvex";
    std::string state_file;
    std::string journal_file;
    uint32_t usb_id = 0x04037F80;
    bool control = false;
    bool start_in_bootloader = false;
    bool no_firmware = false;
    std::optional<std::array<uint8_t, 4>> firmware_version;
    microcontroller_options device;
    fault_plan faults;
};

enum class parsed { run, help, bad };

/// Reads the command line.
/// @param text  the help text, or what is wrong
parsed parse_options(int count, char** words, options* out, std::string* text);

}  // namespace oabr_sim
