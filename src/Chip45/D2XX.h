#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "src/ftdi/ftd2xx.h"
#include "src/platform/event.h"

namespace kovgui::c45 {

/// The byte pipe between the host and the device: an FTDI converter. It neither frames nor interprets what it
/// carries. Operations return the status of the converter call that they made, FT_OK being success, and log a
/// failure once; none retries.
///
/// It has no lock. Once connected, one thread may read while another one writes; connecting, disconnecting
/// and the line settings are for a time when no other thread uses the object.
class D2XX {
public:
    D2XX() = default;
    /// Disconnects.
    virtual ~D2XX();
    D2XX(const D2XX&) = delete;
    D2XX& operator=(const D2XX&) = delete;

    /// Opens a converter and sets it up for short frames, 8N1, without touching rate and flow control. What
    /// was queued is dropped. After a failure past the opening the handle stays open; recover with
    /// disconnect.
    /// @param serial  the converter's serial number; when empty the first converter of any kind is opened
    /// @return        0, or 1 (lastStatus() says why)
    [[nodiscard]] int connect(const std::string& serial);
    /// Closes, and pauses for 100 ms so that an immediate connect does not find it half closed. Always 0.
    int disconnect();
    bool isConnected() const { return handle_ != nullptr; }

    [[nodiscard]] ftdi::FT_STATUS setBaud(int rate);
    /// XON/XOFF on or off.
    [[nodiscard]] ftdi::FT_STATUS enableFlowControl(bool enable);

    /// Queues bytes for sending; returns before they have left.
    [[nodiscard]] ftdi::FT_STATUS write(std::string data);
    /// While on, written bytes gather; turned off, they leave together. A failure shows at the next write.
    void cork(bool on) { ftdi::cork(handle_, on); }
    /// Replaces `*destination` by what is queued, without waiting: by nothing when nothing is.
    /// @param max  at most so many bytes, -1 for no limit; the rest stays queued
    [[nodiscard]] ftdi::FT_STATUS read(std::string* destination, int max);
    /// Drops what is queued.
    ftdi::FT_STATUS flush(bool transmit, bool receive);

    static constexpr uint8_t all_cbus_pins = 0xFF;
    /// @param pin  0..3: `*out` is 0 or 1; all_cbus_pins: the four levels, pin 0 in bit 0
    [[nodiscard]] ftdi::FT_STATUS getCBusPin(uint8_t pin, uint8_t* out);
    /// @param pin    0..3
    /// @param level  1 high, anything else low
    [[nodiscard]] ftdi::FT_STATUS setCBusPin(uint8_t pin, uint8_t level);

    ftdi::FT_STATUS cyclePort();
    /// @return  1 when the converter has gone, else 0; not connected counts as healthy
    [[nodiscard]] int getDeviceStatus();

    /// Set when bytes arrive, on a change of modem or line status, and when the converter goes. Cleared by
    /// connect.
    platform::Event& receiveEvent() { return event_; }
    /// For the thread that waits for the event: see ftdi::readHere.
    std::shared_ptr<platform::Waitable> readHere() { return ftdi::readHere(handle_); }
    /// The status of the operation that failed last, for a message.
    ftdi::FT_STATUS lastStatus() const { return last_status_; }

private:
    int open(const std::string& serial);
    int drain();
    int setUp();
    ftdi::FT_STATUS noted(ftdi::FT_STATUS status);

    std::atomic<ftdi::FT_HANDLE> handle_{nullptr};  // null: not connected
    std::atomic<ftdi::FT_STATUS> last_status_{ftdi::FT_OK};
    platform::Event event_;
};

}  // namespace kovgui::c45
