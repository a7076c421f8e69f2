#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kovgui::ftdi {

/// A directory of its own for device announcements, mode 0700; removed with everything in it.
class DeviceDirectory {
public:
    DeviceDirectory();
    ~DeviceDirectory();
    const std::string& path() const { return path_; }
    /// Writes a file as it is; the name may be anything.
    void write(const std::string& name, const std::string& content) const;
    void remove(const std::string& name) const;

private:
    std::string path_;
};

/// A device of the loopback link that does what the test tells it, and notes every message. It answers HELLO,
/// PURGE and GETBITMODE by itself unless told otherwise. One client at a time, on a thread of its own.
class FakeLinkDevice {
public:
    static constexpr char token[] = "0123456789abcdef0123456789ABCDEF";

    /// How it greets.
    enum class Greeting { accept, wrong_token, in_use, silence, hang_up, noise };

    explicit FakeLinkDevice(std::string serial, Greeting greeting = Greeting::accept);
    ~FakeLinkDevice();

    uint16_t port() const { return port_; }
    /// The text of its announcement.
    std::string announcement() const;
    void announce(const DeviceDirectory& directory) const;

    // What it does from now on.

    void answerPurges(bool yes);
    void answerBitMode(bool yes);
    /// Called on its thread with the payload of each DATA message; what it returns is sent as DATA.
    void onData(std::function<std::string(const std::string&)> answer);
    /// While false nothing is read from the connection.
    void readMessages(bool yes);
    void setBits(uint8_t value);

    // To the client that is connected.

    void sendData(const std::string& bytes);
    void sendEvent(uint8_t mask);
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
    std::vector<Message> messages() const;
    /// Waits for the next message of that operation among those not waited for yet; an operation of 0 when
    /// the time ran out.
    Message waitFor(uint8_t operation, int timeout_ms = 5000);
    /// All payloads of DATA in one, waiting until there are that many bytes.
    std::string waitData(size_t bytes, int timeout_ms = 5000);
    /// DATA messages so far.
    size_t dataMessages() const;
    /// Waits until a client is let in, or has gone.
    bool waitClient(bool connected, int timeout_ms = 5000);
    int acceptedConnections() const;

private:
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
    int accepted_ = 0;
    std::function<std::string(const std::string&)> answer_;
    std::vector<Message> messages_;
    size_t waited_ = 0;
    std::string data_;
    size_t data_messages_ = 0;

    std::thread thread_;
};

}  // namespace kovgui::ftdi
