#include "tests/support/simulated_firmware.h"

#include <stdexcept>

#include "lib/messages.h"

SimulatedFirmware::SimulatedFirmware(Deliver deliver) : deliver_(std::move(deliver)) {
    answer = [this](const Bytes& request) { return firmware(request); };
    firmware_.start();
    thread_ = std::thread([this] { run(); });
}

void SimulatedFirmware::stop() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void SimulatedFirmware::take(Bytes request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    pending_.push_back(std::move(request));
    changed_.notify_all();
}

void SimulatedFirmware::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ended_ || !pending_.empty(); });
        if (ended_) return;
        const Bytes request = std::move(pending_.front());
        pending_.pop_front();
        lock.unlock();
        for (const Bytes& reply : answer.get()(request))
            deliver_(reply);
        lock.lock();
    }
}

std::vector<Bytes> SimulatedFirmware::firmware(const Bytes& request) {
    const Bytes nothing_written{msg_type::reply, msg_cmd::e2p_write, 0, 0, 0};
    if (dead_) return {nothing_written};
    Bytes reply = firmware_.answer(request.data(), static_cast<uint16_t>(request.size()));
    if (reply.empty()) return {};
    if (request[0] == msg_type::remote_request && request[1] == msg_cmd::rmt_mib_tab_entry_read) {
        constexpr size_t data_at = hdlc_msg_header_size + rmt_header_size;
        const auto set = mib.find({get_le16(&request[data_at]), request[data_at + 2]});
        if (set != mib.end()) put_le32(&reply[hdlc_msg_header_size], set->second);
    }
    dead_ = firmware_.take_power_loss();
    return {dead_ ? nothing_written : reply};
}

void SimulatedFirmware::fault(const std::string& what) {
    std::string error;
    if (!faults_.add(what, &error)) throw std::invalid_argument(error);
}
