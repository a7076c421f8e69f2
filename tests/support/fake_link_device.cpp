#include "tests/support/fake_link_device.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace kovgui::ftdi {

void DeviceDirectory::write(const std::string& name, const std::string& content) const {
    const std::string file = path() + "/" + name;
    std::ofstream(file + ".new", std::ios::binary) << content;
    std::filesystem::rename(file + ".new", file);
}

FakeLinkDevice::FakeLinkDevice(std::string serial, Greeting greeting)
    : serial_(std::move(serial)),
      greeting_(greeting),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) || listen(listener_, 8) ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size))
        throw std::runtime_error("cannot listen");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

std::string FakeLinkDevice::announcement() const {
    return "id=04037F80\nserial=" + serial_ + "\ndescription=Fake device\nport=" + std::to_string(port_) +
           "\ntoken=" + token + "\n";
}

void FakeLinkDevice::readMessages(bool yes) {
    std::lock_guard lock(mutex_);
    reads_ = yes;
    changed_.notify_all();
}

void FakeLinkDevice::sendRaw(const std::string& bytes) {
    std::lock_guard lock(mutex_);
    if (client_ >= 0) send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void FakeLinkDevice::sendMessage(uint8_t operation, const std::string& payload) {
    std::string bytes{static_cast<char>(operation), static_cast<char>(payload.size()),
                      static_cast<char>(payload.size() >> 8)};
    sendRaw(bytes + payload);
}

void FakeLinkDevice::unplug() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        if (client_ >= 0) shutdown(client_, SHUT_RDWR);
        changed_.notify_all();
    }
    if (!thread_.joinable()) return;
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
}

FakeLinkDevice::Message FakeLinkDevice::waitFor(uint8_t operation, int timeout_ms) {
    std::unique_lock lock(mutex_);
    const auto arrived = [&] {
        for (; waited_ < messages_.size(); ++waited_)
            if (messages_[waited_].operation == operation) return true;
        return false;
    };
    if (!changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), arrived)) return {0, {}};
    return messages_[waited_++];
}

std::string FakeLinkDevice::waitData(size_t bytes, int timeout_ms) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), [&] { return data_.size() >= bytes; });
    return data_;
}

bool FakeLinkDevice::waitClient(bool connected, int timeout_ms) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                             [&] { return (client_ >= 0) == connected; });
}

namespace {

bool readExactly(int client, char* to, size_t count) {
    return recv(client, to, count, MSG_WAITALL) == static_cast<ssize_t>(count);
}

bool readMessage(int client, FakeLinkDevice::Message* message) {
    unsigned char head[3];
    if (!readExactly(client, reinterpret_cast<char*>(head), sizeof head)) return false;
    message->operation = head[0];
    message->payload.resize(head[1] | static_cast<size_t>(head[2]) << 8);
    return message->payload.empty() || readExactly(client, message->payload.data(), message->payload.size());
}

}  // namespace

void FakeLinkDevice::run() {
    for (int client; (client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        const int on = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        serve(client);
        {
            std::lock_guard lock(mutex_);
            client_ = -1;
            changed_.notify_all();
        }
        close(client);
    }
}

bool FakeLinkDevice::greet(int client) {
    Message hello;
    if (!readMessage(client, &hello) || hello.operation != 0x01 || greeting_ == Greeting::hang_up)
        return false;
    std::string answer{'\x81', 1, 0, hello.payload != token};
    if (greeting_ == Greeting::wrong_token) answer[3] = 1;
    if (greeting_ == Greeting::in_use) answer[3] = 2;
    if (greeting_ == Greeting::noise) answer = "SSH-2.0-x\r\n";
    if (greeting_ == Greeting::silence)
        recv(client, answer.data(), 1, 0);  // until the client gives up
    else
        send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    return greeting_ == Greeting::accept && answer[3] == 0;
}

void FakeLinkDevice::serve(int client) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
    }
    if (!greet(client)) return;
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        client_ = client;
        changed_.notify_all();
    }
    for (Message message;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return reads_ || stopping_; });
        }
        if (!readMessage(client, &message)) return;
        handle(message);
        if (message.operation == 0x0A) return;
    }
}

void FakeLinkDevice::handle(const Message& message) {
    std::string reply;
    bool purged = false;
    int bits = -1;
    std::function<std::string(const std::string&)> answer;
    {
        std::lock_guard lock(mutex_);
        messages_.push_back(message);
        if (message.operation == 0x02) {
            data_ += message.payload;
            ++data_messages_;
            answer = answer_;
        }
        purged = message.operation == 0x07 && purges_;
        if (message.operation == 0x06 && bit_mode_) bits = bits_;
        changed_.notify_all();
    }
    if (answer) reply = answer(message.payload);
    if (!reply.empty()) sendData(reply);
    if (purged) sendMessage(0x87, {});
    if (bits >= 0) sendMessage(0x86, std::string(1, static_cast<char>(bits)));
}

}  // namespace kovgui::ftdi
