#pragma once

#include <functional>

#include "lib/comm_obj.h"
#include "src/models/eeprom_image.h"
#include "src/models/settings_device.h"

// Bytes of the connected device's EEPROM. All of it waits for the device's answers, and asks again where a
// reply was lost.

namespace kovgui {

/// At most 57 bytes, with one request.
[[nodiscard]] bool readEeprom(uint16_t address, size_t size, uint8_t* out);
/// Reads everything that holds settings.
[[nodiscard]] settings::Reading readEepromImage(const settings::GoOn& go_on, EepromImage* image);
/// Carries writes out, one request after the other. A device that takes less of one at a time is given the
/// rest.
/// @param requests  takes their number
[[nodiscard]] settings::Reading writeEeprom(const std::vector<EepromWrite>& writes,
                                            const settings::GoOn& go_on, int* requests);
/// Whether a request changes what the EEPROM holds.
bool writesEeprom(const comm_request& request);
/// The parts whose marker is spoilt; reads no more than the markers take.
/// @return nothing when the device does not answer
std::optional<std::vector<const EepromPart*>> readSpoiltParts();

}  // namespace kovgui
