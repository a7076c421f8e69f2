#pragma once

#include <algorithm>

#include "src/models/eeprom_image.h"
#include "tests/host/model_device.h"
#include "tests/host/state_folder_fixture.h"

namespace kovgui {

/// What kills the program in the middle of what a test has it do.
struct Killed {};

/// A device whose EEPROM a test writes and looks at without a request. What is cut off is mended behind it.
class StoredDevice : public ModelDevice {
protected:
    ~StoredDevice() override {
        comm_begin();
        comm_set_second(1000);
    }
    EepromImage held() const {
        const auto& eeprom = hardware.memory.eeprom;
        return {eeprom.begin() + eeprom_begin, eeprom.begin() + eeprom_end};
    }
    void put(const EepromImage& image) {
        std::ranges::copy(image, hardware.memory.eeprom.begin() + eeprom_begin);
    }
};

}  // namespace kovgui
