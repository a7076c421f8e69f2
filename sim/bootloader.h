#pragma once

#include <cstdint>
#include <string>

#include "sim/faults.h"
#include "sim/hardware.h"

namespace oabr_sim {

/// What the bootloader does about one byte or line.
struct bootloader_step {
    std::string reply;
    std::string line = {};        ///< the line that was ended; empty within one
    bool page_written = false;    ///< the line was busy with a flash page
    bool start_firmware = false;  ///< after the reply has left
    bool power_lost = false;
};

/// The bootloader's side of its ASCII protocol: lines in, answers out. It knows no time and no line rate.
class bootloader {
public:
    bootloader(hardware& device, fault_plan& faults, std::string description);

    /// After a reset: nothing is answered before the greeting.
    void start();
    bootloader_step receive(uint8_t byte);

private:
    bootloader_step take_line(const std::string& line);
    bootloader_step take_record(const std::string& line);
    bootloader_step end_programming(const char* reply);
    bool store(uint32_t address, uint8_t byte);
    bool write_page();

    hardware& device_;
    fault_plan& faults_;
    const std::string description_;
    bool greeted_ = false;
    bool programming_ = false;
    std::string line_;
    uint32_t segment_ = 0;
    bool page_open_ = false;
    uint32_t page_at_ = 0;
    uint8_t page_[flash_page_size] = {};
};

}  // namespace oabr_sim
