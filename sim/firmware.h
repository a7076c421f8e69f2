#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/faults.h"
#include "sim/hardware.h"

namespace oabr_sim {

/// The firmware's answers: contents of a request frame in, contents of the reply frame out. It knows no time
/// and no line.
class firmware {
public:
    firmware(hardware& device, fault_plan& faults, std::string bootloader_description);

    /// What happens after a reset: defaults everywhere, the EEPROM's records replayed onto the registers, the
    /// CAN block taken over when its CRC is right.
    void start();

    /// @return contents of the reply, an error report for a request that is unknown or too short, or nothing
    /// for what is
    ///         not to be answered
    std::vector<uint8_t> answer(const uint8_t* frame, uint16_t length);

    /// A write to the EEPROM met the fault that takes the power away; reading it forgets it.
    bool take_power_loss();

    /// Records that the last start replayed.
    int replayed_records() const { return replayed_; }

private:
    struct request;
    using bytes = std::vector<uint8_t>;
    static const request requests[];

    bytes mdio_write(const uint8_t*in), mdio_read(const uint8_t*in), ping(const uint8_t*in);
    bytes smi_write(const uint8_t*in), smi_read(const uint8_t*in);
    bytes e2p_write(const uint8_t*in, size_t length), e2p_read(const uint8_t*in);
    bytes read_table(const uint8_t*in), write_table(const uint8_t*in);
    bytes power(bool on);
    bytes wakeup(uint8_t value);
    bytes remote(uint8_t command, const uint8_t* payload, size_t length);

    void replay(uint16_t address, uint16_t limit);
    void replay_record(const uint8_t* record, int length);
    bool write_eeprom(size_t address, const uint8_t* data, size_t count);

    hardware& device_;
    fault_plan& faults_;
    const std::string bootloader_description_;
    bool power_lost_ = false;
    int replayed_ = 0;
};

/// The bootloader's version as number, character, number, character.
constexpr uint8_t bootloader_version[4] = {2, 'a', 1, 'b'};

}  // namespace oabr_sim
