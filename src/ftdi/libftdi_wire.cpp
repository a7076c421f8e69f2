#include "src/ftdi/libftdi_wire.h"

#include <libusb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <new>
#include <utility>

namespace kovgui::ftdi {

namespace {

using std::chrono::milliseconds;

/// Reading transfers under way at a time, so that the converter never has to wait for the next one.
constexpr size_t reads_at_a_time = 4;
constexpr uint32_t default_in_size = 4096;
constexpr size_t out_size = 4096;
/// How long cancelled transfers may take to come back.
constexpr milliseconds cancel_limit{1000};
/// Reads that fail one after the other before the converter counts as gone.
constexpr int max_failures = 8;

// Every packet from the converter begins with two status bytes.
constexpr size_t status_bytes = 2;
constexpr uint8_t modem_bits = 0xF0;  // CTS, DSR, RI, DCD
constexpr uint8_t line_bits = 0x9E;   // overrun, parity, framing, break, error in the buffer

constexpr uint8_t vendor_request_out = LIBUSB_REQUEST_TYPE_VENDOR;  // to the device itself
constexpr uint8_t request_set_bit_mode = 0x0B;
constexpr uint8_t pin_levels = 0x0F;
constexpr uint8_t pin_directions = 0xF0;

FT_STATUS asStatus(int result) {
    return result < 0 ? FT_IO_ERROR : FT_OK;
}

class LibFtdiWire : public Wire {
public:
    LibFtdiWire(FtdiContext ftdi, std::shared_ptr<void> hold)
        : ftdi_(std::move(ftdi)), hold_(std::move(hold)), packet_(std::max(ftdi_->max_packet_size, 64u)) {
        for (Transfer* each : all()) {
            each->wire = this;
            each->usb = libusb_alloc_transfer(0);
            if (!each->usb) throw std::bad_alloc();
        }
        setReadSize(default_in_size);
    }

    ~LibFtdiWire() override { LibFtdiWire::release(); }

    bool send(std::span<const uint8_t> bytes) override {
        std::unique_lock lock(mutex_);
        send_cancelled_ = false;
        while (!bytes.empty() && !send_cancelled_) {
            const auto part = bytes.first(std::min(bytes.size(), out_size));
            out_.buffer.assign(part.begin(), part.end());
            if (!submit(out_, static_cast<uint8_t>(ftdi_->in_ep))) return false;
            changed_.wait(lock, [this] { return !out_.under_way; });
            if (out_.usb->status == LIBUSB_TRANSFER_COMPLETED)
                bytes = bytes.subspan(static_cast<size_t>(out_.usb->actual_length));
            else if (!send_cancelled_)
                return end(), false;
        }
        return !ending_;
    }

    void cancelSend() override {
        std::lock_guard lock(mutex_);
        if (!out_.under_way) return;
        send_cancelled_ = true;
        libusb_cancel_transfer(out_.usb);
    }

    FT_STATUS purge(uint32_t mask) override {
        if ((mask & FT_PURGE_TX) && ftdi_tcoflush(ftdi_.get()) != 0) return FT_IO_ERROR;
        if (!(mask & FT_PURGE_RX)) return FT_OK;
        if (ftdi_tciflush(ftdi_.get()) != 0) return FT_IO_ERROR;
        // What the transfers under way bring back is older as well.
        return withoutReads([](Inbox* inbox) {
            if (inbox) inbox->dropReceived();
        });
    }

    FT_STATUS setInSize(uint32_t bytes) override {
        return withoutReads([this, bytes](Inbox*) { setReadSize(bytes); });
    }

    FT_STATUS setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) override {
        return apply(setting_line, [=](ftdi_context* ftdi) {
            return ftdi_set_line_property(ftdi, static_cast<ftdi_bits_type>(bits),
                                          static_cast<ftdi_stopbits_type>(stop_bits),
                                          static_cast<ftdi_parity_type>(parity));
        });
    }

    FT_STATUS setChars(uint8_t event, bool event_on, uint8_t error, bool error_on) override {
        return apply(setting_chars, [=](ftdi_context* ftdi) {
            const int failed = ftdi_set_event_char(ftdi, event, event_on);
            return failed ? failed : ftdi_set_error_char(ftdi, error, error_on);
        });
    }

    FT_STATUS setLatencyTimer(uint8_t ms) override {
        return apply(setting_latency, [=](ftdi_context* ftdi) { return ftdi_set_latency_timer(ftdi, ms); });
    }

    FT_STATUS setBaudRate(uint32_t rate) override {
        return apply(setting_rate,
                     [=](ftdi_context* ftdi) { return ftdi_set_baudrate(ftdi, static_cast<int>(rate)); });
    }

    FT_STATUS setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) override {
        return apply(setting_flow, [=](ftdi_context* ftdi) {
            return mode == FT_FLOW_XON_XOFF ? ftdi_setflowctrl_xonxoff(ftdi, xon, xoff)
                                            : ftdi_setflowctrl(ftdi, SIO_DISABLE_FLOW_CTRL);
        });
    }

    /// The chip reports the levels; one that does not report the directions is given those that were set
    /// last. On the OABR Korvex all four pins are outputs from power-up on.
    FT_STATUS getBitMode(uint8_t* mode) override {
        unsigned char pins = 0;
        if (ftdi_read_pins(ftdi_.get(), &pins) != 0) return FT_IO_ERROR;
        const uint8_t directions = (pins & pin_directions) ? (pins & pin_directions) : directions_;
        *mode = static_cast<uint8_t>(directions | (pins & pin_levels));
        return FT_OK;
    }

    /// Not by ftdi_set_bitmode: after it libftdi1 sends four times any baud rate, which is right for the
    /// chip's other bit modes only.
    FT_STATUS setBitMode(uint8_t mask, uint8_t mode) override {
        directions_ = mode == FT_BITMODE_CBUS_BITBANG ? mask & pin_directions : pin_directions;
        return apply(setting_pins, [=](ftdi_context* ftdi) {
            return libusb_control_transfer(ftdi->usb_dev, vendor_request_out, request_set_bit_mode,
                                           static_cast<uint16_t>(mode << 8 | mask),
                                           static_cast<uint16_t>(ftdi->index), nullptr, 0,
                                           static_cast<unsigned>(ftdi->usb_write_timeout));
        });
    }

    /// The converter comes back with its power-up settings, so they are sent again. One that comes back as a
    /// new device ends this wire.
    FT_STATUS resetPort() override {
        int failed = 0;
        const FT_STATUS status = withoutReads([&](Inbox*) {
            failed = libusb_reset_device(ftdi_->usb_dev);
            for (const auto& setting : settings_)
                if (failed == 0 && setting && setting(ftdi_.get()) < 0) failed = LIBUSB_ERROR_IO;
        });
        if (failed == LIBUSB_ERROR_NOT_FOUND) {
            cut();
            return FT_OK;
        }
        return failed ? FT_IO_ERROR : status;
    }

    void receive(Inbox& inbox) override {
        {
            std::lock_guard lock(mutex_);
            inbox_ = &inbox;
            startReads();
        }
        while (!finished()) {
            const int failed = libusb_handle_events(ftdi_->usb_ctx);
            if (failed == 0 || failed == LIBUSB_ERROR_INTERRUPTED) continue;
            cut();
            platform::pause(1);
        }
    }

    void hangUp() override { cut(); }

    void cut() override {
        std::lock_guard lock(mutex_);
        end();
    }

    void release() override {
        for (Transfer* each : all())
            libusb_free_transfer(std::exchange(each->usb, nullptr));
        if (!ftdi_) return;
        ftdi_usb_close(ftdi_.get());
        ftdi_.reset();
        hold_.reset();
    }

private:
    struct Transfer {
        LibFtdiWire* wire = nullptr;
        libusb_transfer* usb = nullptr;
        std::vector<uint8_t> buffer;
        bool under_way = false;  // until its callback has done everything else
    };

    /// In the order in which they are sent again after a reset.
    enum Setting {
        setting_pins,
        setting_line,
        setting_chars,
        setting_latency,
        setting_flow,
        setting_rate,
        settings
    };

    std::array<Transfer*, reads_at_a_time + 1> all() {
        std::array<Transfer*, reads_at_a_time + 1> each{&out_};
        for (size_t i = 0; i < reads_at_a_time; ++i)
            each[i + 1] = &reads_[i];
        return each;
    }

    FT_STATUS apply(Setting which, std::function<int(ftdi_context*)> send) {
        const FT_STATUS status = asStatus(send(ftdi_.get()));
        settings_[which] = std::move(send);
        return status;
    }

    /// A buffer that is no multiple of the packet could overflow.
    void setReadSize(uint32_t bytes) {
        for (Transfer& read : reads_)
            read.buffer.resize((bytes + packet_ - 1) / packet_ * packet_);
    }

    // The next functions want the lock held.

    /// @return false when the converter is gone
    bool submit(Transfer& transfer, uint8_t endpoint) {
        if (ending_) return false;
        libusb_fill_bulk_transfer(transfer.usb, ftdi_->usb_dev, endpoint, transfer.buffer.data(),
                                  static_cast<int>(transfer.buffer.size()), &LibFtdiWire::completed,
                                  &transfer, 0);
        transfer.under_way = libusb_submit_transfer(transfer.usb) == 0;
        if (!transfer.under_way) end();
        return transfer.under_way;
    }

    void startReads() {
        if (!inbox_ || reads_held_) return;
        for (Transfer& read : reads_)
            if (!read.under_way && !submit(read, static_cast<uint8_t>(ftdi_->out_ep))) return;
    }

    bool readsUnderWay() const {
        return std::any_of(reads_.begin(), reads_.end(), [](const Transfer& each) { return each.under_way; });
    }

    void cancelReads() {
        for (Transfer& read : reads_)
            if (read.under_way) libusb_cancel_transfer(read.usb);
    }

    void end() {
        if (std::exchange(ending_, true)) return;
        cancelReads();
        if (out_.under_way) libusb_cancel_transfer(out_.usb);
        changed_.notify_all();
        libusb_interrupt_event_handler(ftdi_->usb_ctx);
    }

    // Without the lock.

    bool finished() {
        std::lock_guard lock(mutex_);
        return ending_ && !readsUnderWay() && !out_.under_way;
    }

    /// Has the reads that are under way come back, does something, and starts them again. Nothing that they
    /// bring is lost.
    template <class Act>
    FT_STATUS withoutReads(Act act) {
        std::unique_lock lock(mutex_);
        reads_held_ = true;
        cancelReads();
        const bool back = changed_.wait_for(lock, cancel_limit, [this] { return !readsUnderWay(); });
        if (back) {
            Inbox* const inbox = inbox_;
            lock.unlock();
            act(inbox);
            lock.lock();
        }
        reads_held_ = false;
        startReads();
        return back && !ending_ ? FT_OK : FT_IO_ERROR;
    }

    static void LIBUSB_CALL completed(libusb_transfer* usb) {
        auto& transfer = *static_cast<Transfer*>(usb->user_data);
        transfer.wire->onCompleted(transfer);
    }

    /// In whichever thread handles libusb's events, one at a time.
    void onCompleted(Transfer& transfer) {
        const libusb_transfer_status status = transfer.usb->status;
        const bool is_read = &transfer != &out_;
        if (is_read) take({transfer.buffer.data(), static_cast<size_t>(transfer.usb->actual_length)});
        std::lock_guard lock(mutex_);
        transfer.under_way = false;
        changed_.notify_all();
        if (!is_read) return;
        const bool worked = status == LIBUSB_TRANSFER_COMPLETED || status == LIBUSB_TRANSFER_CANCELLED;
        failures_ = worked ? 0 : failures_ + 1;
        if (status == LIBUSB_TRANSFER_NO_DEVICE || failures_ > max_failures)
            end();
        else
            startReads();
    }

    void take(std::span<const uint8_t> packets) {
        uint32_t events = 0;
        data_.clear();
        while (packets.size() >= status_bytes) {
            const auto packet = packets.first(std::min<size_t>(packets.size(), packet_));
            events |= statusEvents(packet[0] & modem_bits, packet[1] & line_bits);
            data_.insert(data_.end(), packet.begin() + status_bytes, packet.end());
            packets = packets.subspan(packet.size());
        }
        if (!data_.empty() || events) inbox_->deliver(data_, events);
    }

    uint32_t statusEvents(int modem, int line) {
        uint32_t events = 0;
        if (modem != std::exchange(modem_, modem)) events |= FT_EVENT_MODEM_STATUS;
        if (line != std::exchange(line_, line)) events |= FT_EVENT_LINE_STATUS;
        return std::exchange(status_known_, true) ? events : 0;
    }

    FtdiContext ftdi_;
    std::shared_ptr<void> hold_;
    const uint32_t packet_;

    // The writer thread's.
    std::array<std::function<int(ftdi_context*)>, settings> settings_;
    uint8_t directions_ = pin_directions;

    // The callbacks'.
    std::vector<uint8_t> data_;
    bool status_known_ = false;
    int modem_ = 0;
    int line_ = 0;

    std::mutex mutex_;                 // guards the rest, but not the buffers of what is under way
    std::condition_variable changed_;  // a transfer has come back, or the end
    Inbox* inbox_ = nullptr;           // once reading has begun
    std::array<Transfer, reads_at_a_time> reads_;
    Transfer out_;
    int failures_ = 0;
    bool reads_held_ = false;
    bool send_cancelled_ = false;
    bool ending_ = false;
};

}  // namespace

std::unique_ptr<Wire> makeLibFtdiWire(FtdiContext converter, std::shared_ptr<void> hold) {
    return std::make_unique<LibFtdiWire>(std::move(converter), std::move(hold));
}

}  // namespace kovgui::ftdi
