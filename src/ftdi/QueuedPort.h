#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

/// Where a wire puts what comes from the converter. For the thread that reads.
class Inbox {
public:
    virtual ~Inbox() = default;
    /// @param bytes   received from the serial line
    /// @param events  FT_EVENT_MODEM_STATUS, FT_EVENT_LINE_STATUS
    virtual void deliver(std::span<const uint8_t> bytes, uint32_t events) = 0;
    /// Drops what was received and not read yet: a receive purge is done.
    virtual void dropReceived() = 0;
};

/// The way to one open converter, below the queues: what a driver writes. All but the last five functions are
/// called from one thread, the port's writer, and may block for at most a second or two; they return FT_OK or
/// FT_IO_ERROR.
class Wire {
public:
    virtual ~Wire() = default;

    /// Takes all the bytes for the serial line. @return false when the converter is gone
    virtual bool send(std::span<const uint8_t> bytes) = 0;
    /// Sends without waiting, on whatever thread, while no other function for the serial line runs. `begun`:
    /// the bytes are taken, and `send`, with or without more of them, must follow to finish.
    enum class Sent { nothing, begun, all };
    virtual Sent trySend(std::span<const uint8_t>) { return Sent::nothing; }
    /// Waits until it is done. For a receive purge, calls the inbox's dropReceived when no older byte can
    /// follow.
    virtual FT_STATUS purge(uint32_t mask) = 0;
    virtual FT_STATUS setInSize(uint32_t bytes) = 0;
    virtual FT_STATUS setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) = 0;
    virtual FT_STATUS setChars(uint8_t event, bool event_on, uint8_t error, bool error_on) = 0;
    virtual FT_STATUS setLatencyTimer(uint8_t milliseconds) = 0;
    virtual FT_STATUS setBaudRate(uint32_t rate) = 0;
    virtual FT_STATUS setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) = 0;
    virtual FT_STATUS getBitMode(uint8_t* mode) = 0;
    virtual FT_STATUS setBitMode(uint8_t mask, uint8_t mode) = 0;
    virtual FT_STATUS resetPort() = 0;

    /// Delivers what comes, on the reader thread, until the converter is gone or the wire was hung up or cut.
    virtual void receive(Inbox& inbox) = 0;
    /// Lending: what another thread waits on to read in the reader thread's place. Null when only `receive`
    /// reads.
    virtual platform::Waitable* source() { return nullptr; }
    /// From any thread: while lent, the reader thread leaves the source alone.
    virtual void lend(bool) {}
    /// From any thread: delivers what is there, without waiting. @return false when `receive` ends
    virtual bool pump(Inbox&) { return true; }
    /// From any thread: abandons a send that is under way, if the way knows how to; that send returns true.
    virtual void cancelSend() {}
    /// From any thread: says good-bye. `receive` returns soon after the converter has seen it.
    virtual void hangUp() = 0;
    /// From any thread: makes `receive`, and everything that blocks, return at once.
    virtual void cut() = 0;
    /// The last call, when neither thread uses the wire any more: gives the converter free.
    virtual void release() {}
};

/// An open converter with its two queues and the threads that move them. What is written is queued, and the
/// writer thread sends everything that has gathered at once, so bytes handed over one by one leave together.
/// Whoever writes a frame says where it ends (`cork`) and then sends it on the spot where the wire takes it
/// without waiting: a thread woken for that alone costs more processor time than the sending. The writer
/// thread has what is left, what would wait, and the changes of settings, which take their turn in the same
/// queue. Likewise the thread that waits for the event may read for itself (`readHere`); the reader thread
/// then sleeps, and only sees to the end. Arguments are checked here, alike for all drivers.
///
/// When the wire fails, received bytes stay readable, the event is signalled once more, and then every call
/// gives FT_IO_ERROR. Bytes for which there is no room in the receive queue are lost and reported as a line
/// event, as the converter itself does.
class QueuedPort : public Port, private Inbox {
public:
    static constexpr size_t receive_room = 65536;
    static constexpr size_t send_room = 16384;

    explicit QueuedPort(std::unique_ptr<Wire> wire);
    ~QueuedPort() override;

    void close() override;
    FT_STATUS queueStatus(uint32_t* rx_bytes) override;
    FT_STATUS status(uint32_t* rx_bytes, uint32_t* tx_bytes, uint32_t* events) override;
    FT_STATUS read(uint8_t* buffer, uint32_t count, uint32_t* got) override;
    FT_STATUS write(const uint8_t* data, uint32_t count, uint32_t* written) override;
    FT_STATUS cork(bool on) override;
    std::unique_ptr<platform::Waitable> readHere() override;
    FT_STATUS purge(uint32_t mask) override;
    FT_STATUS setUsbParameters(uint32_t in_size, uint32_t out_size) override;
    FT_STATUS setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) override;
    FT_STATUS setChars(uint8_t event, bool event_on, uint8_t error, bool error_on) override;
    FT_STATUS setTimeouts(uint32_t read_ms, uint32_t write_ms) override;
    FT_STATUS setLatencyTimer(uint8_t milliseconds) override;
    FT_STATUS setEventNotification(uint32_t mask, platform::Event* event) override;
    FT_STATUS setBaudRate(uint32_t rate) override;
    FT_STATUS setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) override;
    FT_STATUS getBitMode(uint8_t* mode) override;
    FT_STATUS setBitMode(uint8_t mask, uint8_t mode) override;
    FT_STATUS resetPort() override;

private:
    class Reading;
    /// A change of settings on its way through the writer thread.
    struct Command {
        std::function<FT_STATUS(Wire&, uint8_t* value)> act;
        FT_STATUS result = FT_IO_ERROR;
        uint8_t value = 0;
        bool done = false;
    };

    void deliver(std::span<const uint8_t> bytes, uint32_t events) override;
    uint32_t store(std::span<const uint8_t> bytes, uint32_t events);
    bool wanted(uint32_t events);
    void setGone();
    void dropReceived() override;

    FT_STATUS perform(std::function<FT_STATUS(Wire&, uint8_t*)> act, uint8_t* value = nullptr);
    FT_STATUS usable() const;
    size_t readable() const { return received_.size() - read_position_; }
    bool writerHasWork() const;
    void wakeWriter(std::unique_lock<std::mutex>& lock);
    void sendHere(std::unique_lock<std::mutex>& lock);
    void gather(std::unique_lock<std::mutex>& lock);
    void runWriter();
    void runReader();
    void signal(uint32_t events);

    const std::unique_ptr<Wire> wire_;
    std::mutex close_mutex_;  // held by the thread that closes

    std::mutex event_mutex_;  // guards the next two; apart, so that a waiter that is woken finds mutex_ free
    platform::Event* event_ = nullptr;
    uint32_t event_mask_ = 0;

    std::mutex mutex_;                       // guards the rest
    std::condition_variable received_more_;  // bytes, or the end
    std::condition_variable
        sent_more_;  // room in the send queue, a command done, the writer's or reader's end
    std::condition_variable writer_wake_;
    std::vector<uint8_t> received_;  // from read_position_ on
    size_t read_position_ = 0;
    std::vector<uint8_t> to_send_;
    size_t sending_ = 0;              // bytes taken out and not sent yet
    std::vector<uint8_t> sent_here_;  // by the thread that uncorked, which has it without the lock
    bool sending_here_ = false;       // the writer keeps off the wire
    bool finish_send_ = false;        // of a message that the wire has begun
    bool corked_ = false;
    std::deque<std::shared_ptr<Command>> commands_;
    uint32_t events_ = 0;
    uint32_t read_timeout_ms_ = 0;  // 0: for ever
    uint32_t write_timeout_ms_ = 0;
    bool writer_sleeps_ = false;
    bool writer_ended_ = false;
    bool reader_ended_ = false;
    bool gone_ = false;
    bool closing_ = false;

    std::thread writer_;  // last: they use everything above
    std::thread reader_;
};

}  // namespace kovgui::ftdi
