#pragma once

#include "tests/support/simulated_firmware.h"

/// 1, 2, 3 ...
Bytes counting(size_t size);

/// Has the requests of this process begin anew: what earlier tests left behind is forgotten.
void forgetRequestObjects();

/// The simulated device's firmware on the process's link. Its thread stands for the receiver as well, and
/// hands a reply over only when its requester waits: one that came earlier would be lost, by design.
class LinkedFirmware : public SimulatedFirmware {
public:
    LinkedFirmware();
    ~LinkedFirmware();

    /// Answers the next requests with this payload under the reply's type and command.
    void answerWith(const Bytes& payload);

    std::vector<uint8_t>& eeprom = hardware.memory.eeprom;
    /// A register of an MDIO node.
    class Register {
    public:
        Register(oabr_sim::mdio_bus& bus, int phy, int number)
            : bus_(bus), phy_(static_cast<uint8_t>(phy)), number_(static_cast<uint8_t>(number)) {}
        operator uint16_t() const { return bus_.read(phy_, number_); }
        void operator=(int value) { bus_.write(phy_, number_, static_cast<uint16_t>(value)); }

    private:
        oabr_sim::mdio_bus& bus_;
        uint8_t phy_, number_;
    };
    Register reg(int phy, int number) { return {hardware.mdio, phy, number}; }
    /// The chip's own entry, in the layout in which it is read.
    Bytes entry(ksz_table table, uint16_t index) {
        const ksz_entry_data data = hardware.chip.read_entry(table, index);
        return {data.begin(), data.end()};
    }
    /// Everything that a setting can reach: registers but those of live states, static MAC and VLAN entries.
    std::vector<uint16_t> settings();

private:
    static void onByte(int byte);
};
