#include "tests/support/scripted_firmware.h"

#include <chrono>

namespace kovgui::ftdi {

ScriptedFirmware::ScriptedFirmware(std::shared_ptr<ScriptedConverter> converter)
    : SimulatedFirmware([converter](const Bytes& frame) { converter->receive(framed(frame)); }),
      converter_(std::move(converter)) {
    oabr_sim::install_firmware(&hardware.memory, {{1, 6, 0, 0}, {20, 21, 7, 14}});
    SimulatedFirmware::answer = [this](const Bytes& request) { return answerTo(request); };
    framing_.init(
        nullptr,
        [](void* self, const uint8_t* frame, uint16_t length) {
            static_cast<ScriptedFirmware*>(self)->SimulatedFirmware::take({frame, frame + length});
        },
        this);
    converter_->onWrite([this](std::string_view written) {
        take(written);
        return std::string();
    });
}

ScriptedFirmware::~ScriptedFirmware() {
    converter_->onWrite({});
    stop();
}

void ScriptedFirmware::take(std::string_view written) {
    for (const char byte : written)
        framing_.receive(static_cast<uint8_t>(byte));
}

void ScriptedFirmware::answer(uint8_t type, uint8_t command, Answer answer) {
    const std::lock_guard lock(answers_mutex_);
    answers_[{type, command}] = std::move(answer);
}

std::vector<Bytes> ScriptedFirmware::requests(uint8_t type, uint8_t command) const {
    std::vector<Bytes> out = requests();
    std::erase_if(out, [&](const Bytes& one) { return one[0] != type || one[1] != command; });
    return out;
}

std::vector<Bytes> ScriptedFirmware::answerTo(const Bytes& request) {
    constexpr std::chrono::milliseconds turn_around{10};
    std::this_thread::sleep_for(turn_around);
    Answer taught;
    {
        const std::lock_guard lock(answers_mutex_);
        const auto found = request.size() >= 2 ? answers_.find({request[0], request[1]}) : answers_.end();
        if (found != answers_.end()) taught = found->second;
    }
    return taught ? taught(request) : firmware(request);
}

}  // namespace kovgui::ftdi
