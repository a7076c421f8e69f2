#include "src/ftdi/QueuedPort.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <system_error>
#include <utility>

#include "src/ftdi/line_settings.h"

namespace kovgui::ftdi {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long a change of settings may take, with what is queued before it.
constexpr milliseconds command_limit{2500};
/// How long closing waits for what is queued, and for the converter to see the end.
constexpr milliseconds close_limit{500};
/// How often the writer looks whether more bytes come before it sends.
constexpr int gathering_looks = 4;

template <class Predicate>
void waitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, uint32_t timeout_ms,
             Predicate predicate) {
    if (timeout_ms == 0)
        changed.wait(lock, predicate);
    else
        changed.wait_for(lock, milliseconds(timeout_ms), predicate);
}

}  // namespace

QueuedPort::QueuedPort(std::unique_ptr<Wire> wire) : wire_(std::move(wire)) {
    received_.reserve(4096);
    to_send_.reserve(4096);
    writer_ = std::thread([this] { runWriter(); });
    try {
        reader_ = std::thread([this] { runReader(); });
    } catch (const std::system_error&) {  // no thread left
        setGone();
        writer_.join();
        throw;
    }
}

QueuedPort::~QueuedPort() {
    close();
}

void QueuedPort::close() {
    std::lock_guard only_one(close_mutex_);
    if (!writer_.joinable()) return;
    {
        std::lock_guard lock(event_mutex_);
        event_ = nullptr;
    }
    std::unique_lock lock(mutex_);
    closing_ = true;
    writer_wake_.notify_one();
    received_more_.notify_all();
    sent_more_.notify_all();
    if (sent_more_.wait_for(lock, close_limit, [this] { return writer_ended_; })) {
        wire_->hangUp();
        sent_more_.wait_for(lock, close_limit, [this] { return reader_ended_; });
    }
    lock.unlock();
    wire_->cut();
    writer_.join();
    reader_.join();
    wire_->release();
}

/// FT_OK, or why nothing can be done any more. The lock is held.
FT_STATUS QueuedPort::usable() const {
    if (closing_) return FT_INVALID_HANDLE;
    return gone_ ? FT_IO_ERROR : FT_OK;
}

FT_STATUS QueuedPort::queueStatus(uint32_t* rx_bytes) {
    std::lock_guard lock(mutex_);
    if (const FT_STATUS failed = usable(); failed && readable() == 0) return failed;
    *rx_bytes = static_cast<uint32_t>(readable());
    return FT_OK;
}

FT_STATUS QueuedPort::status(uint32_t* rx_bytes, uint32_t* tx_bytes, uint32_t* events) {
    std::lock_guard lock(mutex_);
    if (const FT_STATUS failed = usable(); failed && readable() == 0) return failed;
    *rx_bytes = static_cast<uint32_t>(readable());
    *tx_bytes = static_cast<uint32_t>(to_send_.size() + sending_);
    *events = std::exchange(events_, 0);
    return FT_OK;
}

FT_STATUS QueuedPort::read(uint8_t* buffer, uint32_t count, uint32_t* got) {
    *got = 0;
    std::unique_lock lock(mutex_);
    if (readable() < count)
        waitFor(received_more_, lock, read_timeout_ms_,
                [&] { return readable() >= count || gone_ || closing_; });
    if (const FT_STATUS failed = usable(); failed && readable() == 0) return failed;
    const size_t take = std::min<size_t>(count, readable());
    std::copy_n(received_.begin() + static_cast<std::ptrdiff_t>(read_position_), take, buffer);
    read_position_ += take;
    if (readable() == 0) {
        received_.clear();
        read_position_ = 0;
    }
    *got = static_cast<uint32_t>(take);
    return FT_OK;
}

FT_STATUS QueuedPort::write(const uint8_t* data, uint32_t count, uint32_t* written) {
    *written = 0;
    std::unique_lock lock(mutex_);
    std::optional<steady_clock::time_point> deadline;
    while (*written < count) {
        const auto has_room = [this] { return to_send_.size() + sending_ < send_room || usable() != FT_OK; };
        if (!has_room()) {
            corked_ = false;
            wakeWriter(lock);
            if (!deadline) deadline = steady_clock::now() + milliseconds(write_timeout_ms_);
            if (write_timeout_ms_ == 0)
                sent_more_.wait(lock, has_room);
            else if (!sent_more_.wait_until(lock, *deadline, has_room))
                return FT_OK;
        }
        if (const FT_STATUS failed = usable()) return failed;
        const size_t take = std::min<size_t>(count - *written, send_room - to_send_.size() - sending_);
        to_send_.insert(to_send_.end(), data + *written, data + *written + take);
        *written += static_cast<uint32_t>(take);
        if (!corked_) wakeWriter(lock);
    }
    return usable();
}

FT_STATUS QueuedPort::cork(bool on) {
    std::unique_lock lock(mutex_);
    corked_ = on;
    if (on || to_send_.empty()) return usable();
    if (writer_sleeps_ && !sending_here_ && commands_.empty() && usable() == FT_OK) sendHere(lock);
    if (writerHasWork()) wakeWriter(lock);
    return usable();
}

/// Sends what is queued, if the wire takes it without waiting; else it stays queued.
void QueuedPort::sendHere(std::unique_lock<std::mutex>& lock) {
    sent_here_.clear();
    sent_here_.swap(to_send_);
    sending_ = sent_here_.size();
    sending_here_ = true;
    lock.unlock();
    const Wire::Sent sent = wire_->trySend(sent_here_);
    lock.lock();
    sending_here_ = false;
    sending_ = 0;
    if (sent == Wire::Sent::nothing) to_send_.insert(to_send_.begin(), sent_here_.begin(), sent_here_.end());
    if (sent == Wire::Sent::begun) finish_send_ = true;
    sent_more_.notify_all();
}

bool QueuedPort::writerHasWork() const {
    if (sending_here_) return false;
    return (!to_send_.empty() && !corked_) || finish_send_ || !commands_.empty() || gone_ || closing_;
}

/// The lock is held before and after, but not while waking: the writer would run into it.
void QueuedPort::wakeWriter(std::unique_lock<std::mutex>& lock) {
    if (!writer_sleeps_ || sending_here_) return;
    writer_sleeps_ = false;
    lock.unlock();
    writer_wake_.notify_one();
    lock.lock();
}

/// Lets the caller of write hand over the rest of its frame: waits as long as the queue grows from look to
/// look.
void QueuedPort::gather(std::unique_lock<std::mutex>& lock) {
    for (int look = 0; look < gathering_looks; ++look) {
        const size_t before = to_send_.size();
        lock.unlock();
        std::this_thread::yield();
        lock.lock();
        if (to_send_.size() == before) return;
    }
}

void QueuedPort::runWriter() {
    std::vector<uint8_t> bytes;
    bytes.reserve(4096);
    std::unique_lock lock(mutex_);
    while (!gone_) {
        // Each time anew: whoever wakes it says so, and may have corked again before it runs.
        while (!writerHasWork()) {
            writer_sleeps_ = true;
            writer_wake_.wait(lock);
        }
        writer_sleeps_ = false;
        if (to_send_.empty() && commands_.empty() && !finish_send_) break;
        gather(lock);
        bytes.clear();
        bytes.swap(to_send_);
        sending_ = bytes.size();
        const auto commands = std::exchange(commands_, {});
        const bool finish = std::exchange(finish_send_, false);
        lock.unlock();
        const bool alive = (bytes.empty() && !finish) || wire_->send(bytes);
        lock.lock();
        sending_ = 0;
        for (const auto& command : commands) {
            if (!alive) break;
            lock.unlock();
            const FT_STATUS result = command->act(*wire_, &command->value);
            lock.lock();
            command->result = result;
            command->done = true;
        }
        if (!alive) gone_ = true;
        sent_more_.notify_all();
    }
    writer_ended_ = true;
    const bool lost = gone_ && !closing_;
    sent_more_.notify_all();
    received_more_.notify_all();
    lock.unlock();
    // The reader notices as well and tells the waiters.
    if (lost) wire_->cut();
}

void QueuedPort::runReader() {
    wire_->receive(*this);
    {
        std::lock_guard lock(mutex_);
        reader_ended_ = true;
    }
    setGone();
    signal(~0u);
}

void QueuedPort::setGone() {
    std::lock_guard lock(mutex_);
    gone_ = true;
    writer_wake_.notify_one();
    received_more_.notify_all();
    sent_more_.notify_all();
}

void QueuedPort::deliver(std::span<const uint8_t> bytes, uint32_t events) {
    signal(store(bytes, events));
}

/// @return all events that it makes
uint32_t QueuedPort::store(std::span<const uint8_t> bytes, uint32_t events) {
    std::lock_guard lock(mutex_);
    const size_t take = std::min(bytes.size(), receive_room - readable());
    if (take < bytes.size()) events |= FT_EVENT_LINE_STATUS;
    if (read_position_ > 0 && received_.size() + take > received_.capacity()) {
        received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(read_position_));
        read_position_ = 0;
    }
    received_.insert(received_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(take));
    if (take > 0) events |= FT_EVENT_RXCHAR;
    events_ |= events;
    if (take > 0) received_more_.notify_all();
    return events;
}

/// The reading as another thread has it: what it takes in is no news to the event, as that thread knows
/// already.
class QueuedPort::Reading : public platform::Waitable, private Inbox {
public:
    explicit Reading(QueuedPort& port) : port_(port) { port_.wire_->lend(true); }
    ~Reading() override { port_.wire_->lend(false); }

    native_handle native() const override { return port_.wire_->source()->native(); }
    bool take() override {
        events_ = 0;
        if (port_.wire_->source()->take() && port_.wire_->pump(*this)) return port_.wanted(events_);
        port_.setGone();
        return true;
    }

private:
    void deliver(std::span<const uint8_t> bytes, uint32_t events) override {
        events_ |= port_.store(bytes, events);
    }
    void dropReceived() override { port_.dropReceived(); }

    QueuedPort& port_;
    uint32_t events_ = 0;
};

std::unique_ptr<platform::Waitable> QueuedPort::readHere() {
    return wire_->source() ? std::make_unique<Reading>(*this) : nullptr;
}

bool QueuedPort::wanted(uint32_t events) {
    std::lock_guard lock(event_mutex_);
    return (event_mask_ & events) != 0;
}

void QueuedPort::dropReceived() {
    std::lock_guard lock(mutex_);
    received_.clear();
    read_position_ = 0;
}

void QueuedPort::signal(uint32_t events) {
    std::lock_guard lock(event_mutex_);
    if (event_ && (event_mask_ & events)) event_->set();
}

/// Has the writer thread do something after what is queued by now.
FT_STATUS QueuedPort::perform(std::function<FT_STATUS(Wire&, uint8_t*)> act, uint8_t* value) {
    const auto command = std::make_shared<Command>();
    command->act = std::move(act);
    std::unique_lock lock(mutex_);
    if (const FT_STATUS failed = usable()) return failed;
    commands_.push_back(command);
    wakeWriter(lock);
    sent_more_.wait_for(lock, command_limit, [&] { return command->done || writer_ended_; });
    if (!command->done) {
        std::erase(commands_, command);
        return closing_ ? FT_INVALID_HANDLE : FT_IO_ERROR;
    }
    if (value) *value = command->value;
    return command->result;
}

FT_STATUS QueuedPort::purge(uint32_t mask) {
    if (mask == 0 || (mask & ~(FT_PURGE_RX | FT_PURGE_TX))) return FT_INVALID_PARAMETER;
    if (mask & FT_PURGE_TX) {
        std::lock_guard lock(mutex_);
        to_send_.clear();
        sent_more_.notify_all();
        wire_->cancelSend();
    }
    const FT_STATUS result = perform([mask](Wire& wire, uint8_t*) { return wire.purge(mask); });
    // A converter that is gone answers no more, but what the caller wanted dropped is dropped.
    if (result != FT_OK && (mask & FT_PURGE_RX)) dropReceived();
    return result;
}

FT_STATUS QueuedPort::setUsbParameters(uint32_t in_size, uint32_t out_size) {
    if (!validTransferSize(in_size) || !validTransferSize(out_size)) return FT_INVALID_PARAMETER;
    return perform([in_size](Wire& wire, uint8_t*) { return wire.setInSize(in_size); });
}

FT_STATUS QueuedPort::setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) {
    if (!validLine(bits, stop_bits, parity)) return FT_INVALID_PARAMETER;
    return perform(
        [=](Wire& wire, uint8_t*) { return wire.setDataCharacteristics(bits, stop_bits, parity); });
}

FT_STATUS QueuedPort::setChars(uint8_t event, bool event_on, uint8_t error, bool error_on) {
    return perform([=](Wire& wire, uint8_t*) { return wire.setChars(event, event_on, error, error_on); });
}

FT_STATUS QueuedPort::setTimeouts(uint32_t read_ms, uint32_t write_ms) {
    std::lock_guard lock(mutex_);
    if (const FT_STATUS failed = usable()) return failed;
    read_timeout_ms_ = read_ms;
    write_timeout_ms_ = write_ms;
    return FT_OK;
}

FT_STATUS QueuedPort::setLatencyTimer(uint8_t ms) {
    if (ms == 0) return FT_INVALID_PARAMETER;
    return perform([ms](Wire& wire, uint8_t*) { return wire.setLatencyTimer(ms); });
}

FT_STATUS QueuedPort::setEventNotification(uint32_t mask, platform::Event* event) {
    // Both locks: an end that comes now either is seen here or signals the event.
    std::scoped_lock locks(mutex_, event_mutex_);
    if (const FT_STATUS failed = usable()) return failed;
    event_mask_ = mask;
    event_ = event;
    return FT_OK;
}

FT_STATUS QueuedPort::setBaudRate(uint32_t rate) {
    if (!validBaudRate(rate)) return FT_INVALID_BAUD_RATE;
    return perform([rate](Wire& wire, uint8_t*) { return wire.setBaudRate(rate); });
}

FT_STATUS QueuedPort::setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) {
    if (mode != FT_FLOW_NONE && mode != FT_FLOW_XON_XOFF) return FT_INVALID_PARAMETER;
    return perform([=](Wire& wire, uint8_t*) { return wire.setFlowControl(mode, xon, xoff); });
}

FT_STATUS QueuedPort::getBitMode(uint8_t* mode) {
    return perform([](Wire& wire, uint8_t* value) { return wire.getBitMode(value); }, mode);
}

FT_STATUS QueuedPort::setBitMode(uint8_t mask, uint8_t mode) {
    return perform([=](Wire& wire, uint8_t*) { return wire.setBitMode(mask, mode); });
}

FT_STATUS QueuedPort::resetPort() {
    return perform([](Wire& wire, uint8_t*) { return wire.resetPort(); });
}

}  // namespace kovgui::ftdi
