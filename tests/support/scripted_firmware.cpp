#include "tests/support/scripted_firmware.h"

#include <algorithm>
#include <chrono>

#include "lib/messages.h"

namespace kovgui::ftdi {
namespace {

constexpr std::chrono::milliseconds turn_around{10};

}  // namespace

ScriptedFirmware::ScriptedFirmware(std::shared_ptr<ScriptedConverter> converter)
    : converter_(std::move(converter)), thread_() {
    using namespace msg_type;
    const std::string name = "OABR_Korvex";
    Bytes name_reply = {data_reply, msg_cmd::bls_read};
    name_reply.insert(name_reply.end(), name.begin(), name.end());
    for (const Bytes& identity : {Bytes{data_reply, msg_cmd::fwv_read, 1, 6, 0, 0},
                                  {data_reply, msg_cmd::fwd_read, 20, 21, 7, 14},
                                  {data_reply, msg_cmd::blv_read, 2, 'b', 5, 'a'},
                                  name_reply})
        answer(read_request, identity[1], [identity](const Bytes&) { return std::vector<Bytes>{identity}; });
    answer(request, msg_cmd::ping, [](Bytes asked) {
        asked[0] = reply;
        return std::vector<Bytes>{asked};
    });
    framing_.init(
        nullptr,
        [](void* self, const uint8_t* frame, uint16_t length) {
            auto* const firmware = static_cast<ScriptedFirmware*>(self);
            const std::lock_guard lock(firmware->mutex_);
            firmware->waiting_.emplace_back(frame, frame + length);
            firmware->seen_.emplace_back(frame, frame + length);
            firmware->arrived_.notify_one();
        },
        this);
    converter_->onWrite([this](std::string_view written) {
        take(written);
        return std::string();
    });
    thread_ = std::thread([this] { run(); });
}

ScriptedFirmware::~ScriptedFirmware() {
    converter_->onWrite({});
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        arrived_.notify_one();
    }
    thread_.join();
}

void ScriptedFirmware::take(std::string_view written) {
    for (const char byte : written)
        framing_.receive(static_cast<uint8_t>(byte));
}

void ScriptedFirmware::answer(uint8_t type, uint8_t command, Answer answer) {
    const std::lock_guard lock(mutex_);
    answers_[{type, command}] = std::move(answer);
}

std::vector<Bytes> ScriptedFirmware::requests(uint8_t type, uint8_t command) const {
    std::vector<Bytes> out = requests();
    std::erase_if(out, [&](const Bytes& one) { return one[0] != type || one[1] != command; });
    return out;
}

void ScriptedFirmware::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        arrived_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
        if (ending_) return;
        const Bytes request = waiting_.front();
        waiting_.pop_front();
        const auto known = request.size() >= 2 ? answers_.find({request[0], request[1]}) : answers_.end();
        const Answer answer = known == answers_.end() ? nullptr : known->second;
        lock.unlock();
        std::this_thread::sleep_for(turn_around);
        for (const Bytes& frame : answer ? answer(request) : std::vector<Bytes>())
            converter_->receive(framed(frame));
        lock.lock();
    }
}

}  // namespace kovgui::ftdi
