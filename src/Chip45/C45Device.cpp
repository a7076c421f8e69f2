#include "src/Chip45/C45Device.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "src/base/log.h"
#include "src/base/utilities.h"
#include "src/platform/event.h"

namespace kovgui::c45 {

namespace {

using platform::pause;

constexpr int max_answer = 64;  // bytes of one read
constexpr int greetings = 20;
constexpr int banner_reads = 10;  // after the first: more than the longest banner needs
constexpr int answer_polls = 5;
constexpr int greeting_pause_ms = 100;
constexpr int echo_pause_ms = 50;
constexpr int record_answer_ms = 200;
constexpr int page_write_pause_ms = 100;

constexpr std::array known_bootloaders = {
    "Quadrel-ORC CAN v",  // another device family's
    "c45b2 v",            // the generic banner
    "OABR_Korvex",        // this device's
};

}  // namespace

int C45Device::blHandshake() {
    if (flush(true, true)) return handshake_transport_error;
    pause(greeting_pause_ms);
    LOG_DEBUG(30, "Sending handshake sequence");
    std::string answer;
    for (int i = 0; i < greetings && answer.empty(); ++i) {
        if (write("UUUUUU\r\n")) return handshake_transport_error;
        pause(greeting_pause_ms);
        if (read(&answer, max_answer)) return handshake_transport_error;
    }
    // The rest of a banner whose first bytes have come belongs to it: left behind, it would be taken for the
    // answer to the first command.
    std::string arrived = answer;
    for (int i = 0; i < banner_reads && !arrived.empty(); ++i) {
        pause(echo_pause_ms);
        if (read(&arrived, max_answer)) return handshake_transport_error;
        answer += arrived;
    }
    LOG_DEBUG(40, "bl_handshake: %s\n", printable(answer).c_str());
    if (answer.empty()) {
        last_message_ = "No Data received";
        LOG_WARNING(57, "%s", last_message_.c_str());
        return handshake_no_bootloader;
    }
    const bool known = std::any_of(known_bootloaders.begin(), known_bootloaders.end(),
                                   [&](const char* name) { return answer.find(name) != answer.npos; });
    if (!known) {
        last_message_ = "Unexpected Data received: " + printable(answer);
        LOG_WARNING(52, "%s", last_message_.c_str());
        return handshake_no_bootloader;
    }
    LOG_DEBUG(46, "Correct Bootloader response received");
    return 0;
}

int C45Device::blInitFirmwareUpdate() {
    if (writeCmd("pf")) return 1;
    std::string rest;
    return read(&rest, max_answer) ? 1 : 0;
}

int C45Device::blStartFirmware() {
    return writeCmd("g");
}

int C45Device::blWriteToFlash(const std::string& line) {
    LOG_DEBUG(85, ">> %s\n", line.c_str());
    // An event that an earlier answer left would make this wait, and every one after it, end a record too
    // early.
    receiveEvent().reset();
    if (write(line)) return 1;

    using namespace std::chrono;
    const auto deadline = steady_clock::now() + milliseconds(record_answer_ms);
    std::string answer;
    while (answer.empty()) {
        const auto left = ceil<milliseconds>(deadline - steady_clock::now()).count();
        if (!receiveEvent().wait(static_cast<int>(std::max<int64_t>(left, 0)))) return 1;
        if (read(&answer, max_answer)) return 1;
    }
    if (answer.find(answer_rejected) != answer.npos) {
        LOG_ERROR(94, "Wrong response while programming");
        return 1;
    }
    if (answer.find(answer_page_written) != answer.npos) pause(page_write_pause_ms);
    return 0;
}

int C45Device::writeCmd(const std::string& cmd) {
    const std::string expected = cmd + "+";
    if (flush(false, true)) return 1;
    if (write(cmd)) return 1;
    if (write("\r\n")) return 1;
    std::string answer, arrived;
    // An answer whose first bytes have come is waited for as well.
    for (int i = 0; i < answer_polls && answer.size() < expected.size() && expected.starts_with(answer);
         ++i) {
        pause(echo_pause_ms);
        if (read(&arrived, max_answer)) {
            LOG_ERROR(167, "Read failed");
            return 1;
        }
        answer += arrived;
    }
    if (answer.starts_with(expected)) return 0;
    LOG_ERROR(177, "Wrong response: \"%s\" should be \"%s\"", printable(answer).c_str(), expected.c_str());
    return 1;
}

int C45Device::readUntil(char terminator, unsigned long enable, std::string* out) {
    if (out) out->clear();
    if (enable == 0) return 0;
    std::string byte;
    while (true) {
        if (read(&byte, 1)) return 1;
        if (byte.empty() || byte[0] == terminator) return 0;
        if (out) *out += byte;
    }
}

}  // namespace kovgui::c45
