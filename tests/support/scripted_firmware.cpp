#include "tests/support/scripted_firmware.h"

#include <algorithm>
#include <chrono>

#include "lib/messages.h"

namespace kovgui::ftdi {
namespace {

constexpr std::chrono::milliseconds turn_around{10};

uint16_t pairOf(uint8_t type, uint8_t command) {
    return static_cast<uint16_t>(type << 8 | command);
}

Bytes text(uint8_t type, uint8_t command, const std::string& characters) {
    Bytes out(hdlc_msg_header_size + characters.size());
    out[0] = type;
    out[1] = command;
    std::copy(characters.begin(), characters.end(), out.begin() + hdlc_msg_header_size);
    return out;
}

}  // namespace

ScriptedFirmware::ScriptedFirmware(std::shared_ptr<ScriptedConverter> converter)
    : converter_(std::move(converter)), thread_() {
    using namespace msg_type;
    answer(read_request, msg_cmd::fwv_read, [](const Bytes&) {
        return std::vector<Bytes>{{data_reply, msg_cmd::fwv_read, 1, 6, 0, 0}};
    });
    answer(read_request, msg_cmd::fwd_read, [](const Bytes&) {
        return std::vector<Bytes>{{data_reply, msg_cmd::fwd_read, 20, 21, 7, 14}};
    });
    answer(read_request, msg_cmd::blv_read, [](const Bytes&) {
        return std::vector<Bytes>{{data_reply, msg_cmd::blv_read, 2, 'b', 5, 'a'}};
    });
    answer(read_request, msg_cmd::bls_read, [](const Bytes&) {
        return std::vector<Bytes>{text(data_reply, msg_cmd::bls_read, "OABR_Korvex")};
    });
    answer(request, msg_cmd::ping, [](const Bytes& asked) {
        Bytes same = asked;
        same[0] = reply;
        return std::vector<Bytes>{same};
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
    std::erase_if(answers_, [&](const auto& row) { return row.first == pairOf(type, command); });
    answers_.emplace_back(pairOf(type, command), std::move(answer));
}

std::vector<Bytes> ScriptedFirmware::requests(uint8_t type, uint8_t command) const {
    std::vector<Bytes> out = requests();
    std::erase_if(out, [&](const Bytes& one) { return one[0] != type || one[1] != command; });
    return out;
}

std::vector<Bytes> ScriptedFirmware::answerTo(const Bytes& request) {
    Answer known;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [pair, answer] : answers_)
            if (request.size() >= 2 && pair == pairOf(request[0], request[1])) known = answer;
    }
    return known ? known(request) : std::vector<Bytes>();
}

void ScriptedFirmware::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        arrived_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
        if (ending_) return;
        const Bytes request = waiting_.front();
        waiting_.pop_front();
        lock.unlock();
        std::this_thread::sleep_for(turn_around);
        for (const Bytes& frame : answerTo(request))
            converter_->receive(framed(frame));
        lock.lock();
    }
}

}  // namespace kovgui::ftdi
