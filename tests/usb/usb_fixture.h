#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "src/ftdi/driver.h"
#include "src/ftdi/libftdi_driver.h"
#include "tests/usb/fake_usb.h"

/// An emulated bus, and the FT_ functions on what is plugged into it.
class Usb : public testing::Test {
protected:
    using FT_STATUS = kovgui::ftdi::FT_STATUS;

    void SetUp() override { setDriver(std::make_shared<kovgui::ftdi::LibFtdiDriver>()); }
    void TearDown() override {
        kovgui::ftdi::FT_Close(handle);
        kovgui::ftdi::setDriver(nullptr);
    }

    std::vector<std::string> serials() {
        std::vector<std::string> out;
        for (const auto& node : kovgui::ftdi::driver()->enumerate())
            out.push_back(node.serial);
        return out;
    }
    FT_STATUS open(const std::string& serial = "OKVX0001") {
        return kovgui::ftdi::FT_OpenEx(serial.c_str(), kovgui::ftdi::FT_OPEN_BY_SERIAL_NUMBER, &handle);
    }
    /// As the transport sets it up.
    void openAndSetUp(const std::string& serial = "OKVX0001") {
        ASSERT_EQ(open(serial), kovgui::ftdi::FT_OK);
        ASSERT_EQ(kovgui::ftdi::FT_SetUSBParameters(handle, 128, 128), kovgui::ftdi::FT_OK);
        ASSERT_EQ(kovgui::ftdi::FT_SetTimeouts(handle, 500, 500), kovgui::ftdi::FT_OK);
        ASSERT_EQ(kovgui::ftdi::FT_SetLatencyTimer(handle, 2), kovgui::ftdi::FT_OK);
        ASSERT_EQ(kovgui::ftdi::FT_SetEventNotification(handle, 7, &event), kovgui::ftdi::FT_OK);
    }
    FT_STATUS write(const std::string& bytes) {
        uint32_t written = 0;
        return kovgui::ftdi::FT_Write(handle, bytes.data(), static_cast<uint32_t>(bytes.size()), &written);
    }
    std::string read(uint32_t count, FT_STATUS expected = kovgui::ftdi::FT_OK) {
        std::string bytes(count, '\0');
        uint32_t got = 0;
        EXPECT_EQ(kovgui::ftdi::FT_Read(handle, bytes.data(), count, &got), expected);
        return bytes.substr(0, got);
    }
    FT_STATUS status() {
        uint32_t rx, tx, events;
        return kovgui::ftdi::FT_GetStatus(handle, &rx, &tx, &events);
    }
    uint32_t queued() {
        uint32_t bytes = 0;
        kovgui::ftdi::FT_GetQueueStatus(handle, &bytes);
        return bytes;
    }
    /// Waits until the port has seen that its converter is gone.
    bool seenGone();

    fake_usb::Bus bus;
    kovgui::platform::Event event;
    kovgui::ftdi::FT_HANDLE handle = nullptr;
};

inline bool Usb::seenGone() {
    const auto deadline = fake_usb::Clock::now() + std::chrono::seconds(10);
    while (status() != kovgui::ftdi::FT_IO_ERROR) {
        if (fake_usb::Clock::now() > deadline) return false;
        event.wait(10);
    }
    return true;
}
