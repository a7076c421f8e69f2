#include "src/Chip45/status_text.h"

namespace kovgui::c45 {

using namespace kovgui::ftdi;

std::string statusText(FT_STATUS status) {
    switch (status) {
        case FT_OK:
            return "No error.";
        case FT_INVALID_HANDLE:
            return "The device is not connected. Connect to it first.";
        case FT_DEVICE_NOT_FOUND:
            return "There is no such device. Check the serial number, the USB cable and the device's power.";
        case FT_DEVICE_NOT_OPENED:
            return "The device is in use by another program. Close that program and try again.";
        case FT_IO_ERROR:
            return "The device was unplugged or a transfer failed. Check the USB cable and try again.";
        case FT_INSUFFICIENT_RESOURCES:
            return "The system has no resources left for the device. Close other programs and try again.";
        case FT_INVALID_BAUD_RATE:
            return "The converter does not know the line rate. Update its driver.";
        case FT_DEVICE_NOT_OPENED_FOR_WRITE:
            return "You have no permission to use the device. Install the package's udev rule, plug the "
                   "device in "
                   "again, and try again.";
        default:
            return "The converter reported error " + std::to_string(status) +
                   ". Unplug the device, plug it in again, and try again.";
    }
}

}  // namespace kovgui::c45
