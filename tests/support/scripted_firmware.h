#pragma once

#include <map>
#include <memory>
#include <string_view>

#include "lib/hdlc.h"
#include "tests/support/frames.h"
#include "tests/support/scripted_driver.h"
#include "tests/support/simulated_firmware.h"

namespace kovgui::ftdi {

using ::Bytes;
using ::framed;
using ::framesIn;

/// The simulated device's firmware behind a scripted converter, with a device's turn-around time: version
/// 1.6.0.0 of 2021/07/14. A test can have single requests answered its own way.
class ScriptedFirmware : public SimulatedFirmware {
public:
    explicit ScriptedFirmware(std::shared_ptr<ScriptedConverter> converter);
    ~ScriptedFirmware();

    /// Takes what was written to the converter: for a test that puts a function of its own in front.
    void take(std::string_view written);

    /// What a request is answered by: the frames, or none.
    using Answer = AnswerFunction::Function;
    void answer(uint8_t type, uint8_t command, Answer answer);
    /// Requests of that kind get no answer.
    void ignore(uint8_t type, uint8_t command) {
        answer(type, command, [](const Bytes&) { return std::vector<Bytes>(); });
    }

    /// Nothing gets an answer any more.
    void fallSilent() {
        SimulatedFirmware::answer = [](const Bytes&) { return std::vector<Bytes>(); };
    }

    using SimulatedFirmware::requests;
    std::vector<Bytes> requests(uint8_t type, uint8_t command) const;

private:
    std::vector<Bytes> answerTo(const Bytes& request);

    const std::shared_ptr<ScriptedConverter> converter_;
    hdlc_framing framing_;  // the writing threads', one at a time

    std::mutex answers_mutex_;                               // guards the rest
    std::map<std::pair<uint8_t, uint8_t>, Answer> answers_;  // by type and command
};

}  // namespace kovgui::ftdi
