#include "sim/link_server.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "lib/messages.h"

namespace oabr_sim {

namespace {

namespace fs = std::filesystem;
using asio::ip::tcp;

constexpr size_t header_size = 3;
constexpr size_t longest_payload = 4096;
constexpr size_t token_length = 32;

enum op : uint8_t {
    op_hello = 0x01,
    op_data = 0x02,
    op_baud = 0x03,
    op_flow = 0x04,
    op_bit_mode = 0x05,
    op_get_bit_mode = 0x06,
    op_purge = 0x07,
    op_latency = 0x08,
    op_line = 0x09,
    op_reset_port = 0x0A,
    op_hello_answer = 0x81,
    op_data_from_device = 0x82,
    op_bit_mode_answer = 0x86,
    op_purged = 0x87,
    op_event = 0x8B,
};
enum hello_status : uint8_t { accepted = 0, wrong_token = 1, in_use = 2 };

std::string random_token() {
    constexpr char digits[] = "0123456789abcdef";
    std::random_device random;
    std::string token;
    for (size_t i = 0; i < token_length; ++i)
        token += digits[random() % 16];
    return token;
}

std::string system_error() {
    return std::strerror(errno);
}

/// Whether somebody listens where an announcement says.
bool answers(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (!line.starts_with("port=")) continue;
        const int port = std::atoi(line.c_str() + 5);
        if (port <= 0 || port > 0xFFFF) return false;
        asio::io_context io;
        tcp::socket probe(io);
        asio::error_code failed;
        probe.connect({asio::ip::address_v4::loopback(), static_cast<uint16_t>(port)}, failed);
        return !failed;
    }
    return false;
}

}  // namespace

std::string default_device_directory() {
    if (const char* named = std::getenv("OABR_VIRTUAL_DEVICES"); named != nullptr && *named != '\0')
        return named;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime != '\0')
        return std::string(runtime) + "/oabr-korvex";
    return (fs::temp_directory_path() / ("oabr-korvex-" + std::to_string(getuid()))).string();
}

struct link_server::session : std::enable_shared_from_this<session> {
    explicit session(tcp::socket connected) : socket(std::move(connected)) {}
    tcp::socket socket;
    std::array<uint8_t, 2 * (header_size + longest_payload)> buffer;
    size_t filled = 0;
    std::deque<std::vector<uint8_t>> outgoing;
    bool closing = false;  ///< after what is queued has left
};

/// A message from the tool: its code, the length it must have, what it does. Length 0xFFFF: any.
struct link_server::operation {
    uint8_t code;
    uint16_t length;
    void (*run)(link_server& self, session& from, const uint8_t* payload, size_t length);
};

const link_server::operation link_server::operations[] = {
    {
        op_data, 0xFFFF,
        [](link_server& self, session&, const uint8_t* in, size_t length) {
            self.log_.note("write", {{"count", static_cast<int64_t>(length)}});
            for (size_t i = 0; i < length; ++i)
                if (self.faults_.unplug_at_byte.strikes()) {
                    self.line_.write(in, i + 1);
                    asio::post(self.io_, [&self] { self.on_unplug_fault(); });
                    return;
                }
            self.line_.write(in, length);
        }  // namespace oabr_sim
    },
    {op_baud, 4,
     [](link_server& self, session&, const uint8_t* in, size_t) {
         self.log_.note("baud", {{"rate", get_le32(in)}});
         self.line_.set_baud(get_le32(in));
     }},
    {op_flow, 4,
     [](link_server& self, session&, const uint8_t* in, size_t) {
         self.line_.set_flow(get_le16(in), in[2], in[3]);
     }},
    {op_bit_mode, 2,
     [](link_server& self, session&, const uint8_t* in, size_t) { self.line_.set_bit_mode(in[0], in[1]); }},
    {op_get_bit_mode, 0,
     [](link_server& self, session& from, const uint8_t*, size_t) {
         const uint8_t pins = self.line_.bit_mode();
         self.send(from, op_bit_mode_answer, &pins, 1);
     }},
    {op_purge, 1,
     [](link_server& self, session& from, const uint8_t* in, size_t) {
         self.line_.purge(in[0]);
         self.send(from, op_purged, nullptr, 0);
     }},
    {op_latency, 1,
     [](link_server& self, session&, const uint8_t* in, size_t) { self.line_.set_latency(in[0]); }},
    // The microcontroller only knows 8N1; other settings would garble, which nobody needs to try.
    {op_line, 3,
     [](link_server& self, session&, const uint8_t* in, size_t) {
         self.log_.note("line", {{"data", hex(in, 3)}});
     }},
    {op_reset_port, 0,
     [](link_server& self, session&, const uint8_t*, size_t) {
         asio::post(self.io_, [&self] {
             std::string error;
             self.unplug();
             self.line_.power_up();
             self.plug(&error);
         });
     }},
};

link_server::link_server(asio::io_context& io, converter& line, fault_plan& faults, journal& log,
                         link_identity identity)
    : io_(io), line_(line), faults_(faults), log_(log), identity_(std::move(identity)) {}

link_server::~link_server() {
    unplug();
    if (lock_file_ >= 0) {
        // Never unlinked: another process may hold the same file by then.
        close(lock_file_);
    }
}

bool link_server::claim(std::string* error) {
    std::error_code failed;
    if (!fs::exists(identity_.directory, failed)) {
        fs::create_directories(fs::path(identity_.directory).parent_path(), failed);
        if (mkdir(identity_.directory.c_str(), 0700) != 0 && errno != EEXIST) {
            *error = "cannot create the device directory '" + identity_.directory + "': " + system_error();
            return false;
        }
    }
    const std::string lock_path = identity_.directory + "/." + identity_.serial + ".lock";
    lock_file_ = open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock_file_ < 0) {
        *error = "cannot use the device directory '" + identity_.directory + "': " + system_error();
        return false;
    }
    if (flock(lock_file_, LOCK_EX | LOCK_NB) != 0 || answers(announcement_path())) {
        *error = "a device with the serial number '" + identity_.serial + "' is running already";
        return false;
    }
    fs::remove(announcement_path(), failed);  // of a device that crashed
    return true;
}

bool link_server::announce(std::string* error) {
    const std::string temporary = identity_.directory + "/." + identity_.serial + ".new";
    char text[256];
    std::snprintf(text, sizeof text, "id=%08X\nserial=%s\ndescription=%s\nport=%u\ntoken=%s\n",
                  identity_.usb_id, identity_.serial.c_str(), identity_.description.c_str(),
                  acceptor_->local_endpoint().port(), token_.c_str());
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
    if (client_) end_session(client_);
    log_.note("unplugged");
}

void link_server::accept() {
    acceptor_->async_accept([this](const asio::error_code& failed, tcp::socket socket) {
        if (failed == asio::error::operation_aborted || !plugged()) return;
        if (!failed) {
            asio::error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            read(std::make_shared<session>(std::move(socket)));
        }
        accept();
    });
}

void link_server::end_session(const std::shared_ptr<session>& which) {
    asio::error_code ignored;
    which->socket.close(ignored);
    if (which != client_) return;
    client_.reset();
    line_.disconnected();
    log_.note("closed");
}

void link_server::read(const std::shared_ptr<session>& from) {
    from->socket.async_read_some(
        asio::buffer(&from->buffer[from->filled], from->buffer.size() - from->filled),
        [this, from](const asio::error_code& failed, size_t count) {
            if (failed == asio::error::operation_aborted) return;
            from->filled += count;
            if (failed || !take_messages(*from)) {
                if (!from->closing) end_session(from);
                return;
            }
            read(from);
        });
}

/// @return false when the connection is to be closed
bool link_server::take_messages(session& from) {
    size_t at = 0;
    while (from.filled - at >= header_size) {
        const size_t length = get_le16(&from.buffer[at + 1]);
        if (length > longest_payload) return false;
        if (from.filled - at < header_size + length) break;
        if (!take_message(from, from.buffer[at], &from.buffer[at + header_size], length)) return false;
        at += header_size + length;
    }
    std::memmove(from.buffer.data(), &from.buffer[at], from.filled - at);
    from.filled -= at;
    return true;
}

bool link_server::take_message(session& from, uint8_t code, const uint8_t* payload, size_t length) {
    if (&from != client_.get()) return code == op_hello && take_hello(from, payload, length);
    for (const operation& row : operations) {
        if (row.code != code) continue;
        if (row.length != 0xFFFF && row.length != length) return false;
        row.run(*this, from, payload, length);
        return true;
    }
    return false;
}

bool link_server::take_hello(session& from, const uint8_t* payload, size_t length) {
    uint8_t status = accepted;
    if (length != token_length || !std::equal(token_.begin(), token_.end(), payload))
        status = wrong_token;
    else if (client_)
        status = in_use;
    log_.note("hello", {{"status", status}});
    from.closing = status != accepted;
    send(from, op_hello_answer, &status, 1);
    if (from.closing) return false;
    client_ = from.shared_from_this();
    line_.connected([this](const uint8_t* data, size_t count) { send_data(data, count); });
    return true;
}

void link_server::send_data(const uint8_t* data, size_t count) {
    for (size_t i = 0; i < count; ++i)
        if (faults_.unplug_at_sent_byte.strikes()) {
            count = i + 1;
            asio::post(io_, [this] { on_unplug_fault(); });
        }
    if (client_) send(*client_, op_data_from_device, data, count);
}

void link_server::send_event(uint8_t mask) {
    if (client_) send(*client_, op_event, &mask, 1);
}

void link_server::send(session& to, uint8_t code, const uint8_t* payload, size_t length) {
    std::vector<uint8_t> message(header_size + length);
    message[0] = code;
    put_le16(&message[1], static_cast<uint16_t>(length));
    if (length > 0) std::memcpy(&message[header_size], payload, length);
    to.outgoing.push_back(std::move(message));
    if (to.outgoing.size() == 1) write_next(to.shared_from_this());
}

void link_server::write_next(const std::shared_ptr<session>& to) {
    asio::async_write(to->socket, asio::buffer(to->outgoing.front()),
                      [this, to](const asio::error_code& failed, size_t) {
                          to->outgoing.pop_front();
                          if (failed) return;  // the reader sees it too
                          if (!to->outgoing.empty())
                              write_next(to);
                          else if (to->closing)
                              end_session(to);
                      });
}

}  // namespace oabr_sim
