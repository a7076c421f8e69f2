#include "src/ftdi/LibFtdiDriver.h"
#include "src/ftdi/system_drivers.h"

namespace kovgui::ftdi {

std::vector<std::shared_ptr<Driver>> systemDrivers() {
    return {std::make_shared<LibFtdiDriver>()};
}

}  // namespace kovgui::ftdi
