#include "src/Chip45/D2XX.h"

#include <vector>

#include "src/base/log.h"

namespace kovgui::c45 {

using namespace kovgui::ftdi;

namespace {

constexpr ULONG transfer_size = 128;   // small, so that a short frame is not kept waiting for more
constexpr UCHAR latency_timer_ms = 2;  // likewise
constexpr ULONG transfer_timeout_ms = 500;
constexpr int settle_ms = 100;
constexpr UCHAR xon = 0x11;
constexpr UCHAR xoff = 0x13;
constexpr uint8_t cbus_all_outputs_low = 0xF0;
constexpr uint8_t cbus_levels = 0x0F;

constexpr uint8_t pinBit(uint8_t pin) {
    return static_cast<uint8_t>(1u << (pin & 7));
}

}  // namespace

D2XX::~D2XX() {
    disconnect();
}

/// Keeps a failure for lastStatus.
FT_STATUS D2XX::noted(FT_STATUS status) {
    if (status != FT_OK) last_status_ = status;
    return status;
}

int D2XX::connect(const std::string& serial) {
    last_status_ = FT_OK;
    if (open(serial) != 0 || drain() != 0 || setUp() != 0) return 1;
    LOG_DEBUG(121, "Connected to Board via D2XX");
    return 0;
}

int D2XX::open(const std::string& serial) {
    FT_HANDLE handle = nullptr;
    if (!serial.empty()) {
        if (const FT_STATUS failed = noted(FT_OpenEx(serial.c_str(), FT_OPEN_BY_SERIAL_NUMBER, &handle))) {
            LOG_ERROR(43, "FT_OpenEx failed: %d", failed);
            return 1;
        }
    } else if (const FT_STATUS failed = noted(FT_Open(0, &handle))) {
        LOG_ERROR(50, "FT_Open failed: %d", failed);
        return 1;
    }
    // A converter that was still open keeps its handle, but must not signal an event that may go away.
    if (isConnected()) FT_SetEventNotification(handle_, 0, nullptr);
    handle_ = handle;
    return 0;
}

/// Drops what the converter received before it was ours.
int D2XX::drain() {
    DWORD queued = 0;
    if (const FT_STATUS failed = noted(FT_GetQueueStatus(handle_, &queued))) {
        LOG_ERROR(57, "FT_GetQueueStatus failed: %d", failed);
        return 1;
    }
    if (queued == 0) return 0;
    std::vector<char> stale(queued);
    DWORD got = 0;
    const FT_STATUS status = noted(FT_Read(handle_, stale.data(), queued, &got));
    if (status == FT_OK && got == queued) return 0;
    if (status == FT_OK) last_status_ = FT_IO_ERROR;
    LOG_ERROR(69, "Could not read buffer");
    return 1;
}

int D2XX::setUp() {
    if (const FT_STATUS failed = noted(FT_SetUSBParameters(handle_, transfer_size, transfer_size))) {
        LOG_ERROR(77, "FT_SetUSBParameters failed: %d", failed);
        return 1;
    }
    if (const FT_STATUS failed =
            noted(FT_SetDataCharacteristics(handle_, FT_BITS_8, FT_STOP_BITS_1, FT_PARITY_NONE))) {
        LOG_ERROR(83, "FT_SetDataCharacteristics failed: %d", failed);
        return 1;
    }
    if (const FT_STATUS failed = noted(FT_SetChars(handle_, 0, 0, 0, 0))) {
        // People know this failure by the name of the wrong function.
        LOG_ERROR(90, "FT_SetFlowControl: ft_stat(%lx)", static_cast<unsigned long>(failed));
        return 1;
    }
    if (const FT_STATUS failed = noted(FT_SetTimeouts(handle_, transfer_timeout_ms, transfer_timeout_ms))) {
        LOG_ERROR(97, "FT_SetTimeouts: ft_stat(%lx)", static_cast<unsigned long>(failed));
        return 1;
    }
    if (const FT_STATUS failed = noted(FT_SetLatencyTimer(handle_, latency_timer_ms))) {
        LOG_ERROR(104, "FT_SetLatencyTimer: ft_stat(%lx)", static_cast<unsigned long>(failed));
        return 1;
    }
    event_.reset();
    constexpr DWORD all_events = FT_EVENT_RXCHAR | FT_EVENT_MODEM_STATUS | FT_EVENT_LINE_STATUS;
    if (const FT_STATUS failed = noted(FT_SetEventNotification(handle_, all_events, &event_))) {
        LOG_ERROR(117, "FT_SetEventNotification failed: %d", failed);
        return 1;
    }
    return 0;
}

int D2XX::disconnect() {
    if (!isConnected()) return 0;
    LOG_DEBUG(128, "Disconnected from Board");
    FT_Close(handle_);
    handle_ = nullptr;
    platform::pause(settle_ms);
    return 0;
}

FT_STATUS D2XX::setBaud(int rate) {
    const FT_STATUS status = noted(FT_SetBaudRate(handle_, static_cast<ULONG>(rate)));
    if (status != FT_OK) LOG_ERROR(140, "FT_SetBaudRate failed: %d", status);
    return status;
}

FT_STATUS D2XX::enableFlowControl(bool enable) {
    const FT_STATUS status = noted(enable ? FT_SetFlowControl(handle_, FT_FLOW_XON_XOFF, xon, xoff)
                                          : FT_SetFlowControl(handle_, FT_FLOW_NONE, 0, 0));
    if (status != FT_OK) LOG_ERROR(154, "FT_SetFlowControl failed: %d", status);
    return status;
}

FT_STATUS D2XX::write(std::string data) {
    DWORD written = 0;
    const FT_STATUS status = noted(FT_Write(handle_, data.data(), static_cast<DWORD>(data.size()), &written));
    if (status != FT_OK) LOG_ERROR(172, "FT_Write failed: %d", status);
    return status;
}

FT_STATUS D2XX::read(std::string* destination, int max) {
    destination->clear();
    DWORD queued = 0;
    DWORD sending = 0;
    DWORD events = 0;
    if (const FT_STATUS failed = noted(FT_GetStatus(handle_, &queued, &sending, &events))) {
        LOG_ERROR(189, "FT_GetStatus failed: %d", failed);
        return failed;
    }
    if (queued == 0) return FT_OK;
    DWORD count = queued;
    if (max != -1 && count > static_cast<DWORD>(max)) count = static_cast<DWORD>(max);
    destination->resize(count);
    DWORD got = 0;
    const FT_STATUS status = noted(FT_Read(handle_, destination->data(), count, &got));
    destination->resize(status == FT_OK ? got : 0);
    if (status != FT_OK) LOG_ERROR(205, "FT_Read failed: %d", status);
    return status;
}

FT_STATUS D2XX::flush(bool transmit, bool receive) {
    const ULONG mask = (transmit ? FT_PURGE_TX : 0) | (receive ? FT_PURGE_RX : 0);
    const FT_STATUS status = noted(FT_Purge(handle_, mask));
    if (status != FT_OK) LOG_ERROR(238, "FT_Purge failed");
    return status;
}

FT_STATUS D2XX::setCBusPin(uint8_t pin, uint8_t level) {
    // The directions go back as the chip reports them.
    uint8_t mask = cbus_all_outputs_low;
    if (const FT_STATUS failed = noted(FT_GetBitMode(handle_, &mask))) {
        LOG_ERROR(251, "FT_GetBitMode failed: %d", failed);
        return failed;
    }
    const bool high = level == 1;
    mask = static_cast<uint8_t>(high ? mask | pinBit(pin) : mask & ~pinBit(pin));
    LOG_DEBUG(262, "setting cbus%d to %s", pin, high ? "HIGH" : "LOW");
    const FT_STATUS status = noted(FT_SetBitMode(handle_, mask, FT_BITMODE_CBUS_BITBANG));
    if (status != FT_OK) LOG_ERROR(266, "FT_SetBitMode failed: %d", status);
    return status;
}

FT_STATUS D2XX::getCBusPin(uint8_t pin, uint8_t* out) {
    if (const FT_STATUS failed = noted(FT_GetBitMode(handle_, out))) {
        LOG_ERROR(285, "FT_GetBitMode failed: %d", failed);
        return failed;
    }
    *out &= cbus_levels;
    if (pin != all_cbus_pins) *out = (*out & pinBit(pin)) != 0;
    return FT_OK;
}

FT_STATUS D2XX::cyclePort() {
    const FT_STATUS status = noted(FT_ResetPort(handle_));
    if (status != FT_OK) LOG_ERROR(28, "FT_ResetPort failed: %d", status);
    return status;
}

int D2XX::getDeviceStatus() {
    if (!isConnected()) return 0;
    DWORD queued = 0;
    DWORD sending = 0;
    DWORD events = 0;
    return noted(FT_GetStatus(handle_, &queued, &sending, &events)) == FT_OK ? 0 : 1;
}

}  // namespace kovgui::c45
