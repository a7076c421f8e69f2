#pragma once

#include <array>
#include <asio.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

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
/// payload; one that is malformed closes the connection.
class link_server {
public:
    link_server(asio::io_context& io, timeline& time, converter& line, fault_plan& faults, journal& log,
                link_identity identity);
    ~link_server();
    link_server(const link_server&) = delete;
    link_server& operator=(const link_server&) = delete;

    /// A fault pulled the plug, or the tool asked for it: unplug, and plug again after that time (0 never).
    /// Called outside of everything else here.
    std::function<void(std::chrono::milliseconds away)> on_unplug;

    /// Takes the serial number for this process, from a device that crashed too.
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
    bool take_message(session& from, uint8_t code, std::span<const uint8_t> payload);
    bool take_hello(session& from, std::span<const uint8_t> payload);
    void take_data(std::span<const uint8_t> data);
    void send_data(std::span<const uint8_t> data);
    void send(session& to, uint8_t code, std::span<const uint8_t> payload);
    void write_next(const std::shared_ptr<session>& to);
    void unplug_soon(std::chrono::milliseconds away);
    bool announce(std::string* error);
    std::string lock_path() const { return identity_.directory + "/." + identity_.serial + ".lock"; }
    std::string announcement_path() const { return identity_.directory + "/" + identity_.serial + ".device"; }

    asio::io_context& io_;
    timeline& time_;
    converter& line_;
    fault_plan& faults_;
    journal& log_;
    const link_identity identity_;
    std::string token_;
    int lock_file_ = -1;
    std::unique_ptr<asio::ip::tcp::acceptor> acceptor_;
    std::set<std::shared_ptr<session>> sessions_;
    std::shared_ptr<session> client_;  ///< the one that was accepted by its HELLO
};

}  // namespace oabr_sim
