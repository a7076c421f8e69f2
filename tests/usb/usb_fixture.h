#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "src/ftdi/LibFtdiDriver.h"
#include "tests/support/port_test.h"
#include "tests/usb/fake_usb.h"

/// An emulated bus, and the FT_ functions on what is plugged into it.
class Usb : public kovgui::ftdi::PortTest {
protected:
    void SetUp() override {
        setDriver(std::make_shared<kovgui::ftdi::LibFtdiDriver>());
        serials();  // libusb listens from now on: the emulation cannot bear a listener that goes in an event
    }

    /// As the transport sets it up.
    void openAndSetUp(const std::string& serial = "OKVX0001") {
        using namespace kovgui::ftdi;
        ASSERT_EQ(open(serial), FT_OK);
        ASSERT_EQ(FT_SetUSBParameters(handle, 128, 128), FT_OK);
        ASSERT_EQ(FT_SetTimeouts(handle, 500, 500), FT_OK);
        ASSERT_EQ(FT_SetLatencyTimer(handle, 2), FT_OK);
        ASSERT_EQ(FT_SetEventNotification(handle, 7, &event), FT_OK);
    }

    fake_usb::Bus bus;
};
