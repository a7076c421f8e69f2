#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/temporary_directory.h"

namespace kovgui::ftdi {

/// A directory of its own for device announcements.
class DeviceDirectory : public sim_process::TemporaryDirectory {
public:
    /// Writes a file as it is; the name may be anything.
    void write(const std::string& name, const std::string& content) const;
    void remove(const std::string& name) const { std::filesystem::remove(path() + "/" + name); }
};

/// A device of the loopback link that does what the test tells it, and notes every message. It answers HELLO,
/// PURGE and GETBITMODE by itself unless told otherwise. One client at a time, on a thread of its own.
class FakeLinkDevice {
public:
    static constexpr char token[] = "0123456789abcdef0123456789ABCDEF";

    /// How it greets.
    enum class Greeting { accept, wrong_token, in_use, silence, hang_up, noise };

    explicit FakeLinkDevice(std::string serial, Greeting greeting = Greeting::accept);
    ~FakeLinkDevice() { unplug(); }

    /// The text of its announcement.
    std::string announcement() const;
    void announce(const DeviceDirectory& directory) const {
        directory.write(serial_ + ".device", announcement());
    }

    // What it does from now on.

    void answerPurges(bool yes) { set(purges_, yes); }
    void answerBitMode(bool yes) { set(bit_mode_, yes); }
    /// Called on its thread with the payload of each DATA message; what it returns is sent as DATA.
    void onData(std::function<std::string(const std::string&)> answer) { set(answer_, answer); }
    /// While false nothing is read from the connection.
    void readMessages(bool yes);
    void setBits(uint8_t value) { set(bits_, value); }

    // To the client that is connected.

    void sendData(const std::string& bytes) { sendMessage(0x82, bytes); }
    void sendEvent(uint8_t mask) { sendMessage(0x8B, std::string(1, static_cast<char>(mask))); }
    /// Bytes as they are.
    void sendRaw(const std::string& bytes);
    /// Closes the connection and stops listening: the device is pulled out.
    void unplug();

    // What it saw.

    struct Message {
        uint8_t operation;
        std::string payload;
    };
    /// The messages so far, without HELLO.
    std::vector<Message> messages() const { return get(messages_); }
    /// Waits for the next message of that operation among those not waited for yet; an operation of 0 when
    /// the time ran out.
    Message waitFor(uint8_t operation, int timeout_ms = 5000);
    /// All payloads of DATA in one, waiting until there are that many bytes.
    std::string waitData(size_t bytes, int timeout_ms = 5000);
    /// DATA messages so far.
    size_t dataMessages() const { return get(data_messages_); }
    /// Waits until a client is let in, or has gone.
    bool waitClient(bool connected, int timeout_ms = 5000);

private:
    template <class Value>
    void set(Value& member, const Value& value) {
        std::lock_guard lock(mutex_);
        member = value;
    }
    template <class Value>
    Value get(const Value& member) const {
        std::lock_guard lock(mutex_);
        return member;
    }
    void run();
    void serve(int client);
    bool greet(int client);
    void handle(const Message& message);
    void sendMessage(uint8_t operation, const std::string& payload);

    const std::string serial_;
    const Greeting greeting_;
    int listener_ = -1;
    uint16_t port_ = 0;

    mutable std::mutex mutex_;  // guards the rest
    mutable std::condition_variable changed_;
    int client_ = -1;
    bool stopping_ = false;
    bool purges_ = true;
    bool bit_mode_ = true;
    bool reads_ = true;
    uint8_t bits_ = 0xF1;
    std::function<std::string(const std::string&)> answer_;
    std::vector<Message> messages_;
    size_t waited_ = 0;
    std::string data_;
    size_t data_messages_ = 0;

    std::thread thread_;
};

}  // namespace kovgui::ftdi
