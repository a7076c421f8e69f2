#include "src/ftdi/virtual_wire.h"

// Each I/O context is run by one thread alone.
#define ASIO_DISABLE_FENCED_BLOCK
#define ASIO_STANDALONE
#include <algorithm>
#include <array>
#include <asio.hpp>
#include <atomic>
#include <chrono>

#include "lib/virtual_link.h"
#include "src/platform/event.h"

namespace kovgui::ftdi {

namespace {

using asio::ip::tcp;
using std::chrono::milliseconds;

constexpr milliseconds connect_limit{250};
constexpr milliseconds answer_limit{1000};

std::array<uint8_t, virtual_link::header_size> header(virtual_link::operation operation, size_t length) {
    return {operation, static_cast<uint8_t>(length), static_cast<uint8_t>(length >> 8)};
}

tcp::endpoint loopback(uint16_t port) {
    return {asio::ip::address_v4::loopback(), port};
}

/// Something that the other side answers, counted so that an answer which comes too late is not taken for the
/// next. All functions under the lock that `answered` waits with.
struct Question {
    uint32_t asked = 0;
    uint32_t answers = 0;
    bool waiting = false;
    uint8_t value = 0;

    void ask() {
        ++asked;
        waiting = true;
    }
    /// @return whether it answers what is being waited for
    bool answer(uint8_t answered) {
        if (answers == asked) return false;  // nobody asked
        value = answered;
        return ++answers == asked && waiting;
    }
    bool answered() const { return answers == asked; }
};

class VirtualWire : public Wire {
public:
    VirtualWire(std::unique_ptr<asio::io_context> context, tcp::socket socket)
        : context_(std::move(context)),
          socket_(std::move(socket)),
          readable_(static_cast<platform::Waitable::native_handle>(socket_.native_handle())),
          buffer_(2 * (virtual_link::header_size + virtual_link::max_payload)) {
        out_.reserve(virtual_link::header_size + virtual_link::max_payload);
        data_.reserve(buffer_.size());
    }

    bool send(std::span<const uint8_t> bytes) override {
        if (!finish()) return false;
        while (!bytes.empty()) {
            const auto part = bytes.first(std::min(bytes.size(), virtual_link::max_payload));
            if (!message(virtual_link::data, part)) return false;
            bytes = bytes.subspan(part.size());
        }
        return true;
    }

    Sent trySend(std::span<const uint8_t> bytes) override {
        if (bytes.size() > virtual_link::max_payload) return Sent::nothing;
        begin(virtual_link::data, bytes);
        asio::error_code error;
        unsent_ = unsent_.subspan(socket_.write_some(asio::buffer(unsent_.data(), unsent_.size()), error));
        if (unsent_.empty()) return Sent::all;
        if (unsent_.size() < out_.size()) return Sent::begun;
        unsent_ = {};
        return Sent::nothing;
    }

    FT_STATUS purge(uint32_t mask) override {
        const std::array<uint8_t, 1> payload{static_cast<uint8_t>(mask)};
        {
            std::lock_guard lock(mutex_);
            drop_when_purged_ = (mask & FT_PURGE_RX) != 0;
        }
        return ask(purged_, virtual_link::purge, payload, nullptr);
    }
    FT_STATUS getBitMode(uint8_t* mode) override {
        return ask(bit_mode_, virtual_link::get_bit_mode, {}, mode);
    }

    FT_STATUS setInSize(uint32_t) override { return FT_OK; }                     // a property of USB
    FT_STATUS setChars(uint8_t, bool, uint8_t, bool) override { return FT_OK; }  // not part of the link
    FT_STATUS setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) override {
        return tell(virtual_link::line, {bits, stop_bits, parity});
    }
    FT_STATUS setLatencyTimer(uint8_t ms) override { return tell(virtual_link::latency, {ms}); }
    FT_STATUS setBaudRate(uint32_t rate) override {
        return tell(virtual_link::baud, {static_cast<uint8_t>(rate), static_cast<uint8_t>(rate >> 8),
                                         static_cast<uint8_t>(rate >> 16), static_cast<uint8_t>(rate >> 24)});
    }
    FT_STATUS setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) override {
        return tell(virtual_link::flow,
                    {static_cast<uint8_t>(mode), static_cast<uint8_t>(mode >> 8), xon, xoff});
    }
    FT_STATUS setBitMode(uint8_t mask, uint8_t mode) override {
        return tell(virtual_link::bit_mode, {mask, mode});
    }
    FT_STATUS resetPort() override { return tell(virtual_link::reset_port, {}); }

    void receive(Inbox& inbox) override {
        platform::Waitable* const waits[] = {&changed_, &readable_};
        const std::span<platform::Waitable* const> all(waits);
        while (pump(inbox))
            platform::waitAny(all.first(lent_ ? 1 : 2), -1);
    }

    platform::Waitable* source() override { return &readable_; }

    void lend(bool on) override {
        lent_ = on;
        changed_.set();
    }

    bool pump(Inbox& inbox) override {
        std::lock_guard pumping(reading_);
        if (ended_) return false;
        asio::error_code error;
        filled_ += socket_.read_some(asio::buffer(buffer_.data() + filled_, buffer_.size() - filled_), error);
        if (error == asio::error::would_block) return true;
        if (!error) {
            const size_t used = handle(std::span<const uint8_t>(buffer_.data(), filled_), inbox);
            std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(used),
                      buffer_.begin() + static_cast<std::ptrdiff_t>(filled_), buffer_.begin());
            filled_ -= used;
        }
        if (!error && !malformed_) return true;
        cut();
        std::lock_guard lock(mutex_);
        ended_ = true;
        answered_.notify_all();
        return false;
    }

    void hangUp() override { shutDown(tcp::socket::shutdown_send); }
    /// The reader is woken even while another thread reads for it.
    void cut() override {
        shutDown(tcp::socket::shutdown_both);
        changed_.set();
    }

private:
    void shutDown(tcp::socket::shutdown_type what) {
        asio::error_code ignored;
        socket_.shutdown(what, ignored);
    }

    bool message(virtual_link::operation operation, std::span<const uint8_t> payload) {
        if (!finish()) return false;
        begin(operation, payload);
        return finish();
    }

    void begin(virtual_link::operation operation, std::span<const uint8_t> payload) {
        const auto head = header(operation, payload.size());
        out_.assign(head.begin(), head.end());
        out_.insert(out_.end(), payload.begin(), payload.end());
        unsent_ = out_;
    }

    /// Sends the rest of the message that was begun, waiting as long as it takes.
    bool finish() {
        while (!unsent_.empty()) {
            asio::error_code error;
            unsent_ =
                unsent_.subspan(socket_.write_some(asio::buffer(unsent_.data(), unsent_.size()), error));
            if (error == asio::error::would_block) error = waitWritable();
            if (error) return false;
        }
        return true;
    }

    asio::error_code waitWritable() {
        asio::error_code result;
        socket_.async_wait(tcp::socket::wait_write, [&](const asio::error_code& error) { result = error; });
        context_->restart();
        context_->run();
        return result;
    }

    FT_STATUS tell(virtual_link::operation operation, std::initializer_list<uint8_t> payload) {
        return message(operation, {payload.begin(), payload.size()}) ? FT_OK : FT_IO_ERROR;
    }

    FT_STATUS ask(Question& question, virtual_link::operation operation, std::span<const uint8_t> payload,
                  uint8_t* value) {
        {
            std::lock_guard lock(mutex_);
            question.ask();
        }
        if (!message(operation, payload)) return FT_IO_ERROR;
        std::unique_lock lock(mutex_);
        answered_.wait_for(lock, answer_limit, [&] { return question.answered() || ended_; });
        question.waiting = false;
        if (!question.answered()) return FT_IO_ERROR;
        if (value) *value = question.value;
        return FT_OK;
    }

    /// Handles the whole messages in the buffer; data that stands together is delivered together.
    /// @return bytes used
    size_t handle(std::span<const uint8_t> bytes, Inbox& inbox) {
        size_t used = 0;
        uint32_t events = 0;
        data_.clear();
        while (bytes.size() - used >= virtual_link::header_size && !malformed_) {
            const uint8_t operation = bytes[used];
            const size_t length = bytes[used + 1] | static_cast<size_t>(bytes[used + 2]) << 8;
            if (length > virtual_link::max_payload) malformed_ = true;
            if (malformed_ || bytes.size() - used < virtual_link::header_size + length) break;
            const auto payload = bytes.subspan(used + virtual_link::header_size, length);
            used += virtual_link::header_size + length;
            if (operation == virtual_link::data_received)
                data_.insert(data_.end(), payload.begin(), payload.end());
            else if (operation == virtual_link::event && length == 1)
                events |= payload[0] & (FT_EVENT_MODEM_STATUS | FT_EVENT_LINE_STATUS);
            else if (operation == virtual_link::bit_mode_answer && length == 1)
                onBitMode(payload[0]);
            else if (operation == virtual_link::purged && length == 0)
                onPurged(inbox);
            else
                malformed_ = true;
        }
        if (!data_.empty() || events) inbox.deliver(data_, events);
        return used;
    }

    void onBitMode(uint8_t value) {
        std::lock_guard lock(mutex_);
        if (bit_mode_.answer(value)) answered_.notify_all();
    }

    void onPurged(Inbox& inbox) {
        std::lock_guard lock(mutex_);
        if (!purged_.answer(0)) return;
        if (drop_when_purged_) {
            data_.clear();
            inbox.dropReceived();
        }
        answered_.notify_all();
    }

    const std::unique_ptr<asio::io_context> context_;
    tcp::socket socket_;

    platform::SocketReady readable_;
    platform::Event changed_;  // for the reader thread: who reads, or the end
    std::atomic<bool> lent_{false};

    std::vector<uint8_t> out_;  // one message, and what of it is left to send: whoever may send has them
    std::span<const uint8_t> unsent_;

    std::mutex reading_;  // guards what is read, down to malformed_; before mutex_
    std::vector<uint8_t> buffer_;
    size_t filled_ = 0;
    std::vector<uint8_t> data_;
    bool malformed_ = false;

    std::mutex mutex_;  // guards the rest
    std::condition_variable answered_;
    Question purged_;
    Question bit_mode_;
    bool drop_when_purged_ = false;
    std::atomic<bool> ended_{false};
};

}  // namespace

FT_STATUS connectVirtualWire(uint16_t port, const std::string& token, std::unique_ptr<Wire>* wire) {
    auto context = std::make_unique<asio::io_context>(1);
    tcp::socket socket(*context);
    asio::error_code connected = asio::error::timed_out;
    socket.async_connect(loopback(port), [&](const asio::error_code& error) { connected = error; });
    context->run_for(connect_limit);
    if (connected) {
        asio::error_code ignored;
        socket.close(ignored);
        context->poll();
        return connected == asio::error::connection_refused ? FT_DEVICE_NOT_FOUND : FT_IO_ERROR;
    }

    asio::error_code error;
    socket.set_option(tcp::no_delay(true), error);
    const auto head = header(virtual_link::hello, token.size());
    std::array<uint8_t, virtual_link::header_size + 1> answer{};
    asio::error_code answered = asio::error::timed_out;
    asio::write(socket, std::array<asio::const_buffer, 2>{asio::buffer(head), asio::buffer(token)}, error);
    asio::async_read(socket, asio::buffer(answer),
                     [&](const asio::error_code& result, size_t) { answered = result; });
    context->restart();
    context->run_for(answer_limit);
    if (answered == asio::error::timed_out) {
        socket.close(error);
        context->restart();
        context->poll();
        return FT_IO_ERROR;
    }
    if (answered || answer[0] != virtual_link::hello_answer || answer[1] != 1 || answer[2] != 0)
        return FT_IO_ERROR;
    if (answer[3] == virtual_link::wrong_token || answer[3] == virtual_link::in_use)
        return FT_DEVICE_NOT_OPENED;
    if (answer[3] != virtual_link::accepted) return FT_IO_ERROR;
    // From here on each thread does its own waiting.
    socket.non_blocking(true, error);
    *wire = std::make_unique<VirtualWire>(std::move(context), std::move(socket));
    return FT_OK;
}

std::vector<bool> probeVirtualPorts(const std::vector<uint16_t>& ports) {
    asio::io_context context(1);
    std::vector<tcp::socket> sockets;
    std::vector<bool> accepts(ports.size());
    for (size_t i = 0; i < ports.size(); ++i)
        sockets.emplace_back(context);
    for (size_t i = 0; i < ports.size(); ++i)
        sockets[i].async_connect(loopback(ports[i]),
                                 [&accepts, i](const asio::error_code& error) { accepts[i] = !error; });
    context.run_for(connect_limit);
    return accepts;
}

}  // namespace kovgui::ftdi
