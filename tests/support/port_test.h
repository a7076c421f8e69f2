#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

/// One converter through the FT_ functions, whatever driver the test sets.
class PortTest : public testing::Test {
protected:
    void TearDown() override {
        FT_Close(handle);
        setDriver(nullptr);
    }

    std::vector<std::string> serials() {
        std::vector<std::string> out;
        for (const DeviceNode& node : driver()->enumerate())
            out.push_back(node.serial);
        return out;
    }
    FT_STATUS open(const std::string& serial = "OKVX0001") {
        return FT_OpenEx(serial.c_str(), FT_OPEN_BY_SERIAL_NUMBER, &handle);
    }
    FT_STATUS write(const std::string& data, DWORD* written) {
        return FT_Write(handle, data.data(), static_cast<DWORD>(data.size()), written);
    }
    FT_STATUS write(const std::string& data) {
        DWORD written = 0;
        const FT_STATUS status = write(data, &written);
        EXPECT_EQ(written, status == FT_OK ? data.size() : written);
        return status;
    }
    std::string read(DWORD count, FT_STATUS expected = FT_OK) {
        std::string data(count, '\0');
        DWORD got = 0;
        EXPECT_EQ(FT_Read(handle, data.data(), count, &got), expected);
        return data.substr(0, got);
    }
    FT_STATUS status(DWORD* rx, DWORD* events) {
        DWORD tx;
        return FT_GetStatus(handle, rx, &tx, events);
    }
    FT_STATUS status() {
        DWORD rx, events;
        return status(&rx, &events);
    }
    DWORD queued() {
        DWORD rx = 0;
        EXPECT_EQ(FT_GetQueueStatus(handle, &rx), FT_OK);
        return rx;
    }
    /// Waits until the port has seen that its converter is gone.
    bool seenGone() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (status() != FT_IO_ERROR) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            event.wait(10);
        }
        return true;
    }

    platform::Event event;
    FT_HANDLE handle = nullptr;
};

}  // namespace kovgui::ftdi
