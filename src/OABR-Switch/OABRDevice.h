#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lib/e2p.h"
#include "src/Chip45/C45Device.h"
#include "src/OABR-Switch/CanTracePrinter.h"
#include "src/OABR-Switch/CanTraceQueue.h"
#include "src/OABR-Switch/DeviceWindow.h"
#include "src/OABR-Switch/OABRReceiverThread.h"
#include "src/OABR-Switch/identity.h"

namespace kovgui::oabr {

/// The one connection of this process to a device: finds the devices, opens one with the line settings of its
/// firmware or of its bootloader, receives and routes what it sends, and knows who it is.
///
/// Operations return 0 for success and log their failures. Requests may come from any thread but the
/// receiver's. Connecting and disconnecting are for a time when no request is under way, one thread at a
/// time.
class OABRDevice : public c45::C45Device {
public:
    /// The object, made on first use; it lives until the process ends.
    static OABRDevice* instance();

    struct DeviceInfo {
        std::string serial;       ///< what connect takes
        std::string description;  ///< not filled by enumeration
    };
    /// The attached devices, in the order of the converter drivers; converters of other products are left
    /// out.
    std::vector<DeviceInfo> enumDevices();

    /// Connects to the running firmware: starts the receiver and reads the device's identity. Pauses for half
    /// a second.
    /// @param serial  not empty
    /// @return        0 or 1; after 1 nothing is connected and connectFailure() says why
    [[nodiscard]] int connectWithFirmwareParams(const std::string& serial);
    /// The device that the window has selected.
    [[nodiscard]] int connectWithFirmwareParams();
    /// Connects to the bootloader, which is read by its client: no receiver runs.
    [[nodiscard]] int connectWithBootloaderParams(const std::string& serial);
    [[nodiscard]] int connectWithBootloaderParams();
    /// Notes that the bootloader has answered the handshake.
    void setBootloaderAnswered() { state_ = State::bootloader_answered; }
    /// Stops the receiver and closes. Always 0.
    int disconnect();

    /// What the last connect failed at and what to do about it, for the operator; empty after a success.
    std::string connectFailure() const;
    /// Whether the device's firmware is connected.
    bool isFirmwareConnected() const { return state_ == State::firmware; }
    /// Whether the receiver ended by itself since it was started: the device has gone.
    bool receiverEnded() const { return receiver_ended_; }
    /// Set when that happens; null for none. The event must live until it is taken out.
    void setReceiverEndedEvent(platform::Event* event);

    /// Pulls the device's reset line for 300 ms and gives it 500 ms to start.
    [[nodiscard]] ftdi::FT_STATUS resetDevice();
    /// Tells the window, if there is one, that the device was reset beside it.
    void tellRestarted();
    /// Says whether the next start enters the bootloader.
    [[nodiscard]] int setBootloaderFlag(bool flag);

    /// The window that is told of hardkeys and asked for the selected device; null for none.
    void setMainFrame(DeviceWindow* window);

    static constexpr int hardkeys = 4;
    /// Asks the device for its hardkeys.
    [[nodiscard]] int updateHardkeys();
    /// The state reported last, hardkeys flags.
    const std::atomic<bool>* getHardkeyState() const { return hardkey_state_.data(); }
    /// Takes `hardkeys` bytes, each one not 0 for a key that is on, and tells the window.
    void setHardkeyState(const uint8_t* bytes);

    std::string getConnectedDevice() const { return connected_device_.serial; }
    const FirmwareVersion& getFirmwareVersion() const { return fw_version_; }
    const FirmwareDate& getFirmwareDate() const { return fw_date_; }
    const BootloaderVersion& getBootloaderVersion() const { return bl_version_; }
    const BootloaderDesc& getBootloaderDesc() const { return bl_desc_; }

    // Library functions with a log line for each failure; none retries.

    /// At most 57 bytes.
    [[nodiscard]] int readE2P(unsigned long address, unsigned long length, uint8_t* out);
    [[nodiscard]] int writeE2P(unsigned long address, unsigned long length, const uint8_t* data);
    [[nodiscard]] int readSMI(uint8_t reg, uint8_t* out);
    [[nodiscard]] int writeSMI(uint8_t reg, uint8_t value);
    [[nodiscard]] int readMDIO(uint8_t phy, uint8_t reg, uint16_t* out);
    [[nodiscard]] int writeMDIO(uint8_t phy, uint8_t reg, uint16_t value);
    [[nodiscard]] int setPower(bool on);
    /// @param mode  sniff bits of the port
    [[nodiscard]] int setSniff(int port, uint8_t mode);
    [[nodiscard]] int getSniff(int port, uint8_t* mode);
    /// Writes the three configuration areas, each list between its markers, which may be there already. Lists
    /// must fit their areas (e2p_area_shortfall): what does not is left out. Always 0; read back to know.
    int writeE2PConfig(const std::vector<e2p_cfg_cmd>& switch_list, const std::vector<e2p_cfg_cmd>& phy1_list,
                       const std::vector<e2p_cfg_cmd>& phy2_list);

    /// Takes CAN trace records from now on; null has them printed, as fast as standard output takes them.
    void setCanTrace(std::shared_ptr<CanTraceQueue> queue);
    void onCanTraceRecord(const uint8_t* frame, uint16_t length);

    /// @return 0 also when the receiver runs already
    [[nodiscard]] int startReceiverThread();
    int stopReceiverThread();
    /// The body of the receiver thread.
    void receiverThreadFnc();

private:
    enum class State : int {
        disconnected = 0,
        bootloader = 1,
        bootloader_answered = 2,
        opening = 3,
        firmware = 4
    };

    OABRDevice();
    int failConnect(const std::string& why);
    [[nodiscard]] int readIdentity();
    [[nodiscard]] bool receiveAvailable();
    std::string selectedDevice();

    std::atomic<State> state_{State::disconnected};
    std::atomic<bool> receiver_ended_{false};
    platform::Event stop_event_;

    std::unique_ptr<CanTracePrinter> can_printer_;  // made by the receiver, ended when that has ended

    // Changed by connect and disconnect only.
    std::unique_ptr<OABRReceiverThread> receiver_thread_;
    FirmwareVersion fw_version_;
    FirmwareDate fw_date_;
    BootloaderVersion bl_version_;
    BootloaderDesc bl_desc_;
    DeviceInfo connected_device_;
    std::string connect_failure_;

    std::array<std::atomic<bool>, hardkeys> hardkey_state_{};

    std::mutex listeners_;  // guards the rest
    DeviceWindow* main_frame_ = nullptr;
    platform::Event* ended_event_ = nullptr;
    std::shared_ptr<CanTraceQueue> can_trace_;
};

/// Sends one byte of a frame. The first byte of a frame takes the line for the calling thread and the last
/// one gives it up, so frames of several threads leave one after the other. After a byte that could not be
/// written the rest of its frame is dropped.
void hdlc_put_char(char c);
/// Takes the contents of a received frame to whom they concern. For the receiver thread.
void hdlc_on_rx_frame(const uint8_t* frame, uint16_t length);

/// Prints how long a ping has been under way that carries its sending time, in microseconds since 1970.
void hdlc_ping_process_rsp(const uint8_t* frame, uint16_t length);

}  // namespace kovgui::oabr
