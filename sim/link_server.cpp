#include "sim/link_server.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "lib/messages.h"
#include "lib/virtual_link.h"

namespace oabr_sim {

namespace {

namespace fs = std::filesystem;
using asio::ip::tcp;
using std::chrono::milliseconds;

constexpr size_t max_sessions = 32;
constexpr milliseconds port_reset_time{100};

std::string random_token() {
    constexpr char digits[] = "0123456789abcdef";
    std::random_device random;
    std::string token;
    for (size_t i = 0; i < virtual_link::token_length; ++i)
        token += digits[random() % 16];
    return token;
}

std::string system_error() {
    return std::strerror(errno);
}

/// Whether the device that left this announcement is alive: it knows its token. Another program may have got
/// the port of a device that crashed.
bool is_alive(const std::string& path) {
    std::ifstream file(path);
    int port = 0;
    std::string token;
    for (std::string line; std::getline(file, line);) {
        const size_t equals = std::min(line.find('='), line.size());
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(std::min(equals + 1, line.size()));
        if (key == virtual_link::key::port) port = std::atoi(value.c_str());
        if (key == virtual_link::key::token) token = value;
    }
    if (port <= 0 || port > 0xFFFF || token.size() != virtual_link::token_length) return false;

    asio::io_context io;
    tcp::socket probe(io);
    asio::error_code failed;
    probe.connect({asio::ip::address_v4::loopback(), static_cast<uint16_t>(port)}, failed);
    if (failed) return false;
    const timeval limit{1, 0};
    setsockopt(probe.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::array<uint8_t, virtual_link::header_size> hello{virtual_link::hello, virtual_link::token_length, 0};
    asio::write(probe, std::array<asio::const_buffer, 2>{asio::buffer(hello), asio::buffer(token)}, failed);
    std::array<uint8_t, virtual_link::header_size + 1> answer{};
    size_t filled = 0;
    while (!failed && filled < answer.size()) {
        const ssize_t got = recv(probe.native_handle(), answer.data() + filled, answer.size() - filled, 0);
        if (got <= 0) return false;
        filled += static_cast<size_t>(got);
    }
    return !failed && answer[0] == virtual_link::hello_answer &&
           answer[virtual_link::header_size] != virtual_link::wrong_token;
}

constexpr int is_locked = -1;
constexpr int cannot_lock = -2;

/// Locks a file for as long as this process lives. Its owner removes it at its end, so it may be another file
/// by the time the lock is there.
/// @return the open file, or one of the above
int take_lock(const std::string& path) {
    for (;;) {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (file < 0) return cannot_lock;
        if (flock(file, LOCK_EX | LOCK_NB) != 0) {
            close(file);
            return is_locked;
        }
        struct stat locked {};
        struct stat named {};
        if (fstat(file, &locked) == 0 && stat(path.c_str(), &named) == 0 && locked.st_ino == named.st_ino)
            return file;
        close(file);
    }
}

}  // namespace

std::string default_device_directory() {
    if (const char* named = std::getenv(virtual_link::directory_variable); named != nullptr && *named != '\0')
        return named;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime != '\0')
        return std::string(runtime) + "/" + virtual_link::directory_name;
    return (fs::temp_directory_path() / (virtual_link::directory_name + ("-" + std::to_string(getuid()))))
        .string();
}

struct link_server::session : std::enable_shared_from_this<session> {
    explicit session(tcp::socket connected) : socket(std::move(connected)) {}
    tcp::socket socket;
    std::array<uint8_t, 2 * (virtual_link::header_size + virtual_link::max_payload)> buffer;
    size_t filled = 0;
    std::deque<std::vector<uint8_t>> outgoing;
    size_t backlog = 0;    ///< bytes in `outgoing`
    bool closing = false;  ///< after what is queued has left
};

/// A message from the tool: its code, the length it must have, what it does.
struct link_server::operation {
    static constexpr size_t any = SIZE_MAX;
    uint8_t code;
    size_t length;
    void (*run)(link_server& self, session& from, std::span<const uint8_t> in);
};

const link_server::operation link_server::operations[] = {
    {virtual_link::data, operation::any,
     [](link_server& self, session&, std::span<const uint8_t> in) { self.take_data(in); }},
    {virtual_link::baud, 4,
     [](link_server& self, session&, std::span<const uint8_t> in) {
         self.log_.note("baud", {{"rate", get_le32(in.data())}});
         self.line_.set_baud(get_le32(in.data()));
     }},
    {virtual_link::flow, 4,
     [](link_server& self, session&, std::span<const uint8_t> in) {
         self.log_.note("flow", {{"mode", get_le16(in.data())}});
         self.line_.set_flow(get_le16(in.data()), in[2], in[3]);
     }},
    {virtual_link::bit_mode, 2,
     [](link_server& self, session&, std::span<const uint8_t> in) {
         self.log_.note("bit-mode", {{"mask", in[0]}, {"mode", in[1]}});
         self.line_.set_bit_mode(in[0], in[1]);
     }},
    {virtual_link::get_bit_mode, 0,
     [](link_server& self, session& from, std::span<const uint8_t>) {
         const uint8_t pins = self.line_.bit_mode();
         self.send(from, virtual_link::bit_mode_answer, {&pins, 1});
     }},
    {virtual_link::purge, 1,
     [](link_server& self, session& from, std::span<const uint8_t> in) {
         self.log_.note("purge", {{"mask", in[0]}});
         self.line_.purge(in[0]);
         self.send(from, virtual_link::purged, {});
     }},
    {virtual_link::latency, 1,
     [](link_server& self, session&, std::span<const uint8_t> in) {
         self.log_.note("latency", {{"ms", in[0]}});
         self.line_.set_latency(in[0]);
     }},
    {virtual_link::line, 3,
     [](link_server& self, session&, std::span<const uint8_t> in) {
         self.log_.note("line-settings", {{"bits", in[0]}, {"stop", in[1]}, {"parity", in[2]}});
         self.line_.set_line(in[0], in[1], in[2]);
     }},
    {virtual_link::reset_port, 0,
     [](link_server& self, session&, std::span<const uint8_t>) { self.unplug_soon(port_reset_time); }},
};

link_server::link_server(asio::io_context& io, timeline& time, converter& line, fault_plan& faults,
                         journal& log, link_identity identity)
    : io_(io), time_(time), line_(line), faults_(faults), log_(log), identity_(std::move(identity)) {}

link_server::~link_server() {
    unplug();
    if (lock_file_ < 0) return;
    std::error_code ignored;
    fs::remove(lock_path(), ignored);
    close(lock_file_);
}

bool link_server::claim(std::string* error) {
    std::error_code failed;
    fs::create_directories(fs::path(identity_.directory).parent_path(), failed);
    if (mkdir(identity_.directory.c_str(), 0700) != 0 && errno != EEXIST) {
        *error = "cannot create the device directory '" + identity_.directory + "': " + system_error();
        return false;
    }
    struct stat found {};
    if (stat(identity_.directory.c_str(), &found) != 0 || !S_ISDIR(found.st_mode) ||
        found.st_uid != geteuid() || (found.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        *error = "the device directory '" + identity_.directory +
                 "' is not a directory of this user that nobody else may write to";
        return false;
    }
    const int lock = take_lock(lock_path());
    if (lock == cannot_lock) {
        *error = "cannot use the device directory '" + identity_.directory + "': " + system_error();
        return false;
    }
    if (lock == is_locked || is_alive(announcement_path())) {
        *error = "a device with the serial number '" + identity_.serial +
                 "' is running already; another one needs another --serial";
        if (lock >= 0) close(lock);
        return false;
    }
    lock_file_ = lock;
    fs::remove(announcement_path(), failed);  // of a device that crashed
    return true;
}

bool link_server::announce(std::string* error) {
    const std::string temporary = identity_.directory + "/." + identity_.serial + ".new";
    char text[256];
    namespace key = virtual_link::key;
    std::snprintf(text, sizeof text, "%s=%08X\n%s=%s\n%s=%s\n%s=%u\n%s=%s\n", key::id, identity_.usb_id,
                  key::serial, identity_.serial.c_str(), key::description, identity_.description.c_str(),
                  key::port, acceptor_->local_endpoint().port(), key::token, token_.c_str());
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const auto length = static_cast<ssize_t>(std::strlen(text));
    const bool written = file >= 0 && ::write(file, text, static_cast<size_t>(length)) == length;
    if (file >= 0) close(file);
    if (!written || std::rename(temporary.c_str(), announcement_path().c_str()) != 0) {
        *error = "cannot announce the device in '" + identity_.directory + "': " + system_error();
        return false;
    }
    return true;
}

bool link_server::plug(std::string* error) {
    if (plugged()) return true;
    asio::error_code failed;
    auto acceptor = std::make_unique<tcp::acceptor>(io_);
    acceptor->open(tcp::v4(), failed);
    if (!failed) acceptor->bind({asio::ip::address_v4::loopback(), 0}, failed);
    if (!failed) acceptor->listen(asio::socket_base::max_listen_connections, failed);
    if (failed) {
        *error = "cannot listen on the loopback interface: " + failed.message();
        return false;
    }
    acceptor_ = std::move(acceptor);
    token_ = random_token();
    if (!announce(error)) {
        acceptor_.reset();
        return false;
    }
    log_.note("plugged");
    accept();
    return true;
}

void link_server::unplug() {
    if (!plugged()) return;
    std::error_code ignored;
    fs::remove(announcement_path(), ignored);
    acceptor_.reset();
    while (!sessions_.empty()) {
        const std::shared_ptr<session> each = *sessions_.begin();
        end_session(each);
    }
    log_.note("unplugged");
}

void link_server::unplug_soon(milliseconds away) {
    time_.after({}, [this, away] {
        if (on_unplug) on_unplug(away);
    });
}

void link_server::accept() {
    acceptor_->async_accept([this](const asio::error_code& failed, tcp::socket socket) {
        if (failed == asio::error::operation_aborted || !plugged()) return;
        if (!failed && sessions_.size() < max_sessions) {
            asio::error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            const auto connected = std::make_shared<session>(std::move(socket));
            sessions_.insert(connected);
            read(connected);
        }
        accept();
    });
}

void link_server::end_session(const std::shared_ptr<session>& which) {
    asio::error_code ignored;
    which->socket.shutdown(tcp::socket::shutdown_both, ignored);
    which->socket.close(ignored);
    sessions_.erase(which);
    if (which != client_) return;
    client_.reset();
    line_.close();
    log_.note("closed");
}

void link_server::read(const std::shared_ptr<session>& from) {
    from->socket.async_read_some(
        asio::buffer(&from->buffer[from->filled], from->buffer.size() - from->filled),
        [this, from](const asio::error_code& failed, size_t count) {
            time_.run_until(sim_clock::now());  // what was due before this came
            if (!from->socket.is_open()) return;
            from->filled += count;
            if (failed || !take_messages(*from)) {
                if (failed || !from->closing) end_session(from);
                return;
            }
            if (from->socket.is_open()) read(from);
        });
}

/// @return false when the connection is to be closed
bool link_server::take_messages(session& from) {
    size_t at = 0;
    while (from.filled - at >= virtual_link::header_size) {
        const size_t length = get_le16(&from.buffer[at + 1]);
        if (length > virtual_link::max_payload) return false;
        if (from.filled - at < virtual_link::header_size + length) break;
        if (!take_message(from, from.buffer[at],
                          {from.buffer.data() + at + virtual_link::header_size, length}))
            return false;
        at += virtual_link::header_size + length;
    }
    std::memmove(from.buffer.data(), from.buffer.data() + at, from.filled - at);
    from.filled -= at;
    return true;
}

bool link_server::take_message(session& from, uint8_t code, std::span<const uint8_t> payload) {
    if (&from != client_.get())
        return code == virtual_link::hello && payload.size() == virtual_link::token_length &&
               take_hello(from, payload);
    const auto row = std::find_if(std::begin(operations), std::end(operations),
                                  [&](const operation& each) { return each.code == code; });
    if (row == std::end(operations)) return false;
    if (row->length != operation::any && row->length != payload.size()) return false;
    row->run(*this, from, payload);
    return true;
}

bool link_server::take_hello(session& from, std::span<const uint8_t> payload) {
    uint8_t status = virtual_link::accepted;
    if (!std::equal(payload.begin(), payload.end(), token_.begin(), token_.end()))
        status = virtual_link::wrong_token;
    else if (client_)
        status = virtual_link::in_use;
    log_.note("hello", {{"status", status}});
    from.closing = status != virtual_link::accepted;
    send(from, virtual_link::hello_answer, {&status, 1});
    if (from.closing) return false;
    client_ = from.shared_from_this();
    line_.open({[this](std::span<const uint8_t> data) { send_data(data); },
                [this] { return client_ ? client_->backlog : 0; },
                [this](uint8_t mask) { send_event(mask); }});
    return true;
}

void link_server::take_data(std::span<const uint8_t> data) {
    log_.note("write", {{"data", hex(data.data(), data.size())}});
    for (size_t i = 0; i < data.size(); ++i) {
        if (!faults_.unplug_at_byte.strikes()) continue;
        log_.note("fault", {{"what", "unplug-at-byte"}});
        unplug_soon(faults_.unplug_at_byte.time());
        data = data.first(i + 1);
    }
    line_.write(data);
}

void link_server::send_data(std::span<const uint8_t> data) {
    if (!client_) return;
    for (size_t i = 0; i < data.size(); ++i) {
        if (!faults_.unplug_at_sent_byte.strikes()) continue;
        log_.note("fault", {{"what", "unplug-at-sent-byte"}});
        unplug_soon(faults_.unplug_at_sent_byte.time());
        data = data.first(i + 1);
    }
    send(*client_, virtual_link::data_received, data);
}

void link_server::send_event(uint8_t mask) {
    if (client_) send(*client_, virtual_link::event, {&mask, 1});
}

void link_server::send(session& to, uint8_t code, std::span<const uint8_t> payload) {
    std::vector<uint8_t> message(virtual_link::header_size);
    message[0] = code;
    put_le16(&message[1], static_cast<uint16_t>(payload.size()));
    message.insert(message.end(), payload.begin(), payload.end());
    to.backlog += message.size();
    to.outgoing.push_back(std::move(message));
    if (to.outgoing.size() == 1) write_next(to.shared_from_this());
}

void link_server::write_next(const std::shared_ptr<session>& to) {
    asio::async_write(to->socket, asio::buffer(to->outgoing.front()),
                      [this, to](const asio::error_code& failed, size_t) {
                          if (!to->socket.is_open()) return;
                          if (failed) return end_session(to);
                          time_.run_until(sim_clock::now());
                          if (!to->socket.is_open()) return;
                          to->backlog -= to->outgoing.front().size();
                          to->outgoing.pop_front();
                          if (!to->outgoing.empty())
                              write_next(to);
                          else if (to->closing)
                              end_session(to);
                          if (to == client_) line_.taken();
                      });
}

}  // namespace oabr_sim
