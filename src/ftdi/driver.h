#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "src/ftdi/ftd2xx.h"

namespace kovgui::ftdi {

/// One attached converter.
struct DeviceNode {
    uint32_t id = 0;    ///< vendor << 16 | product
    uint32_t type = 5;  ///< FTDI's chip type; 5 is the FT232R
    uint32_t location = 0;
    bool open = false;   ///< by this process
    std::string serial;  ///< at most 15 characters
    std::string description;
};

/// One open converter. The calls have the meaning of the FT_ call of the same name; they may come from one
/// reading and one writing thread at the same time. The destructor closes.
class Port {
public:
    virtual ~Port() = default;

    /// Waits, bounded, for what is queued, ends the port's threads and gives the converter free. The event is
    /// never signalled again; calls under way in other threads return, later ones give FT_INVALID_HANDLE.
    virtual void close() = 0;
    virtual FT_STATUS queueStatus(uint32_t* rx_bytes) = 0;
    virtual FT_STATUS status(uint32_t* rx_bytes, uint32_t* tx_bytes, uint32_t* events) = 0;
    virtual FT_STATUS read(uint8_t* buffer, uint32_t count, uint32_t* got) = 0;
    virtual FT_STATUS write(const uint8_t* data, uint32_t count, uint32_t* written) = 0;
    /// See ftdi::cork. A port that cannot gather sends each write as it comes.
    virtual FT_STATUS cork(bool) { return FT_OK; }
    /// See ftdi::readHere. The port must outlive the result.
    virtual std::unique_ptr<platform::Waitable> readHere() { return nullptr; }
    virtual FT_STATUS purge(uint32_t mask) = 0;
    virtual FT_STATUS setUsbParameters(uint32_t in_size, uint32_t out_size) = 0;
    virtual FT_STATUS setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) = 0;
    virtual FT_STATUS setChars(uint8_t event, bool event_on, uint8_t error, bool error_on) = 0;
    virtual FT_STATUS setTimeouts(uint32_t read_ms, uint32_t write_ms) = 0;
    virtual FT_STATUS setLatencyTimer(uint8_t milliseconds) = 0;
    virtual FT_STATUS setEventNotification(uint32_t mask, platform::Event* event) = 0;
    virtual FT_STATUS setBaudRate(uint32_t rate) = 0;
    virtual FT_STATUS setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) = 0;
    virtual FT_STATUS getBitMode(uint8_t* mode) = 0;
    virtual FT_STATUS setBitMode(uint8_t mask, uint8_t mode) = 0;
    virtual FT_STATUS resetPort() = 0;
};

/// One way to reach converters.
class Driver {
public:
    virtual ~Driver() = default;

    /// The attached converters of this driver, in a stable order. Must not take long: it runs on the window's
    /// thread.
    virtual std::vector<DeviceNode> enumerate() = 0;
    /// @param port  set when the result is FT_OK
    /// @return      FT_OK, FT_DEVICE_NOT_FOUND, FT_DEVICE_NOT_OPENED, FT_DEVICE_NOT_OPENED_FOR_WRITE or
    /// FT_IO_ERROR
    virtual FT_STATUS open(const std::string& serial, std::unique_ptr<Port>* port) = 0;
    /// Calls back, on a thread of its own, when converters come or go; bursts may be merged. Destroying the
    /// result ends the watch and waits for a callback that is running. Null when this driver cannot tell.
    virtual std::shared_ptr<void> watch(std::function<void()> changed) = 0;
};

/// Several drivers as one: lists them one after the other, opens at the first that knows the serial.
class DriverSet : public Driver {
public:
    explicit DriverSet(std::vector<std::shared_ptr<Driver>> drivers);
    std::vector<DeviceNode> enumerate() override;
    FT_STATUS open(const std::string& serial, std::unique_ptr<Port>* port) override;
    std::shared_ptr<void> watch(std::function<void()> changed) override;

private:
    const std::vector<std::shared_ptr<Driver>> drivers_;
};

/// The driver behind the FT_ functions. Until one is set it is the default one: the real converters of this
/// system, and the simulated ones; with OABR_VIRTUAL_ONLY=1 in the environment only the simulated ones.
/// It reads the environment when it is first asked for, so a program that changes its working directory asks
/// for it before. Null goes back to the default one.
void setDriver(std::shared_ptr<Driver> driver);
std::shared_ptr<Driver> driver();

}  // namespace kovgui::ftdi
