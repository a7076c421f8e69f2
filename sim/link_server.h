#pragma once

#include <array>
#include <asio.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "sim/converter.h"
#include "sim/faults.h"
#include "sim/journal.h"

namespace oabr_sim {

/// What the announcement says about the device.
struct link_identity {
    std::string directory;
    std::string serial;
    std::string description;
    uint32_t usb_id = 0x04037F80;
};

/// The directory in which devices announce themselves when none is named: OABR_VIRTUAL_DEVICES, else the
/// user's own.
std::string default_device_directory();

/// The converter's USB side: announces the device by a file, and lets one tool at a time talk to the
/// converter over TCP on the loopback interface. Messages: operation u8, payload length u16 (little-endian),
/// payload.
class link_server {
public:
    link_server(asio::io_context& io, converter& line, fault_plan& faults, journal& log,
                link_identity identity);
    ~link_server();
    link_server(const link_server&) = delete;
    link_server& operator=(const link_server&) = delete;

    /// A fault pulled the plug.
    std::function<void()> on_unplug_fault;

    /// Takes the serial number for this process.
    /// @param error  why not, for the user
    bool claim(std::string* error);
    /// Attaches: listens, then announces.
    bool plug(std::string* error);
    /// Detaches: the announcement goes, the connection closes.
    void unplug();
    bool plugged() const { return acceptor_ != nullptr; }
    /// Tells the tool about a change of modem (2) or line (4) status.
    void send_event(uint8_t mask);

private:
    struct session;
    struct operation;
    static const operation operations[];

    void accept();
    void end_session(const std::shared_ptr<session>& which);
    void read(const std::shared_ptr<session>& from);
    bool take_messages(session& from);
    bool take_message(session& from, uint8_t code, const uint8_t* payload, size_t length);
    bool take_hello(session& from, const uint8_t* payload, size_t length);
    void send_data(const uint8_t* data, size_t count);
    void send(session& to, uint8_t code, const uint8_t* payload, size_t length);
    void write_next(const std::shared_ptr<session>& to);
    bool announce(std::string* error);
    std::string announcement_path() const { return identity_.directory + "/" + identity_.serial + ".device"; }

    asio::io_context& io_;
    converter& line_;
    fault_plan& faults_;
    journal& log_;
    const link_identity identity_;
    std::string token_;
    int lock_file_ = -1;
    std::unique_ptr<asio::ip::tcp::acceptor> acceptor_;
    std::shared_ptr<session> client_;  ///< the one that was accepted by its HELLO
};

}  // namespace oabr_sim
