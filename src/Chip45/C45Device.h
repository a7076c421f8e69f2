#pragma once

#include <string>

#include "src/Chip45/D2XX.h"

namespace kovgui::c45 {

/// The client of the device's serial bootloader (chip45, plain text at 19200 baud). Each operation is a
/// complete exchange; 0 is success. In this order: blHandshake, blInitFirmwareUpdate, blWriteToFlash for each
/// record, blStartFirmware. One operation at a time, while no other thread reads the converter.
class C45Device : public D2XX {
public:
    static constexpr int handshake_transport_error = 1;
    /// Silence, or something else answered: see lastMessage.
    static constexpr int handshake_no_bootloader = 2;

    static constexpr char answer_rejected = '-';
    static constexpr char answer_page_written = '*';

    /// Greets the bootloader, at most 20 times in two seconds, until anything answers.
    /// @return 0, handshake_transport_error or handshake_no_bootloader
    [[nodiscard]] int blHandshake();
    /// Starts the programming of the flash.
    [[nodiscard]] int blInitFirmwareUpdate();
    /// Sends one record and waits at most 200 ms for its answer.
    /// @param line  with its line feed
    /// @return      0, or 1 when the record was rejected, not answered or could not be sent
    [[nodiscard]] int blWriteToFlash(const std::string& line);
    /// Leaves the bootloader for the firmware.
    [[nodiscard]] int blStartFirmware();

    /// Sends a command, without its line end, and waits at most 250 ms for the echo "<command>+".
    /// @return 0, or 1 when something else or nothing came back
    [[nodiscard]] int writeCmd(const std::string& cmd);
    /// Reads what is queued up to a character, which is taken but not kept.
    /// @param enable  0 reads nothing; it is no count and no time
    /// @param out     null to drop what is read
    /// @return        0, or 1 after a transport error
    [[nodiscard]] int readUntil(char terminator, unsigned long enable, std::string* out);

    /// Why the last handshake failed.
    const std::string& lastMessage() const { return last_message_; }

private:
    std::string last_message_;
};

}  // namespace kovgui::c45
