#include "tests/sim/link_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "lib/hdlc.h"

namespace sim_test {

using std::chrono::steady_clock;

std::map<std::string, std::string> read_announcement(const std::string& path) {
    std::map<std::string, std::string> values;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos) values[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return values;
}

void LinkClient::close() {
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
    ended_ = false;
    buffer_.clear();
    line_.clear();
}

bool LinkClient::connect(const sim_process::Device& device) {
    close();
    const auto announced = read_announcement(device.announcement());
    if (!announced.contains("port")) return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(announced.at("port"))));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    return ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::optional<uint8_t> LinkClient::open(const sim_process::Device& device, const std::string& token) {
    if (!connect(device)) return std::nullopt;
    const std::string shown = token.empty() ? read_announcement(device.announcement())["token"] : token;
    send(op_hello, bytes(shown.begin(), shown.end()));
    const auto answer = receive();
    if (!answer || answer->operation != op_hello_answer || answer->payload.size() != 1) return std::nullopt;
    return answer->payload[0];
}

void LinkClient::send_raw(const bytes& raw) {
    size_t sent = 0;
    while (sent < raw.size()) {
        const ssize_t part = ::send(socket_, raw.data() + sent, raw.size() - sent, MSG_NOSIGNAL);
        if (part <= 0) return;
        sent += static_cast<size_t>(part);
    }
}

void LinkClient::send(uint8_t operation, const bytes& payload) {
    bytes raw = {operation, static_cast<uint8_t>(payload.size()), static_cast<uint8_t>(payload.size() >> 8)};
    raw.insert(raw.end(), payload.begin(), payload.end());
    send_raw(raw);
}

uint8_t LinkClient::read_pins() {
    send(op_get_bit_mode);
    while (const auto answer = receive())
        if (answer->operation == op_bit_mode_answer && answer->payload.size() == 1) return answer->payload[0];
    return 0;
}

bool LinkClient::fill(steady_clock::time_point deadline) {
    if (socket_ < 0 || ended_) return false;
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    pollfd wanted{socket_, POLLIN, 0};
    if (poll(&wanted, 1, static_cast<int>(std::max<int64_t>(left.count(), 0))) <= 0) return false;
    uint8_t part[4096];
    const ssize_t got = recv(socket_, part, sizeof part, 0);
    if (got <= 0) {
        ended_ = true;
        return false;
    }
    buffer_.insert(buffer_.end(), part, part + got);
    return true;
}

std::optional<LinkClient::message> LinkClient::take_message() {
    if (buffer_.size() < 3) return std::nullopt;
    const size_t length = buffer_[1] | static_cast<size_t>(buffer_[2]) << 8;
    if (buffer_.size() < 3 + length) return std::nullopt;
    const auto end = buffer_.begin() + static_cast<std::ptrdiff_t>(3 + length);
    message out{buffer_[0], bytes(buffer_.begin() + 3, end), steady_clock::now()};
    buffer_.erase(buffer_.begin(), end);
    return out;
}

std::optional<LinkClient::message> LinkClient::receive(milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    do {
        if (auto found = take_message()) return found;
    } while (fill(deadline));
    return take_message();
}

bool LinkClient::closed(milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    while (fill(deadline)) {
    }
    return ended_;
}

std::string record(uint16_t address, uint8_t type, const bytes& data) {
    bytes all = {static_cast<uint8_t>(data.size()), static_cast<uint8_t>(address >> 8),
                 static_cast<uint8_t>(address), type};
    all.insert(all.end(), data.begin(), data.end());
    uint8_t sum = 0;
    std::string line = ":";
    for (const uint8_t byte : all)
        sum = static_cast<uint8_t>(sum + byte);
    all.push_back(static_cast<uint8_t>(-sum));
    for (const uint8_t byte : all) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        line += digits;
    }
    return line;
}

std::optional<bytes> LinkClient::frame(milliseconds limit) {
    std::optional<bytes> found;
    hdlc_framing framing;
    framing.init(
        nullptr,
        [](void* to, const uint8_t* contents, uint16_t length) {
            *static_cast<std::optional<bytes>*>(to) = bytes(contents, contents + length);
        },
        &found);
    const auto deadline = steady_clock::now() + limit;
    for (;;) {
        while (!line_.empty()) {
            framing.receive(line_.front());
            line_.pop_front();
            if (found) return found;
        }
        const auto next = receive(std::chrono::ceil<milliseconds>(deadline - steady_clock::now()));
        if (!next) return std::nullopt;
        if (next->operation == op_received)
            line_.insert(line_.end(), next->payload.begin(), next->payload.end());
    }
}

std::string LinkClient::text_until(const std::string& end, milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    std::string text;
    while (text.find(end) == std::string::npos) {
        const auto next = receive(std::chrono::ceil<milliseconds>(deadline - steady_clock::now()));
        if (!next) break;
        if (next->operation == op_received) text.append(next->payload.begin(), next->payload.end());
    }
    return text;
}

}  // namespace sim_test
