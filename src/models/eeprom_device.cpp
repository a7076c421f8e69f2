#include "src/models/eeprom_device.h"

#include <algorithm>

#include "lib/messages.h"

namespace kovgui {

using settings::GoOn;
using settings::Reading;

namespace {

constexpr int tries = 2;

size_t requestsFor(size_t bytes) {
    return (bytes + e2p_max_data - 1) / e2p_max_data;
}

}  // namespace

bool readEeprom(uint16_t address, size_t size, uint8_t* out) {
    unsigned long count = size;
    return e2p_read(address, out, &count) == req_ok && count == size;
}

Reading readEepromImage(const GoOn& go_on, EepromImage* image) {
    image->assign(eeprom_size, 0);
    for (size_t at = 0; at < eeprom_size; at += e2p_max_data) {
        const size_t size = std::min<size_t>(e2p_max_data, eeprom_size - at);
        bool done = false;
        for (int tried = 0; tried < tries && !done; ++tried) {
            if (go_on && !go_on(at / e2p_max_data, requestsFor(eeprom_size))) return Reading::stopped;
            done = readEeprom(static_cast<uint16_t>(eeprom_begin + at), size, &(*image)[at]);
        }
        if (!done) return Reading::silent;
    }
    return Reading::finished;
}

Reading writeEeprom(const std::vector<EepromWrite>& writes, const GoOn& go_on, int* requests) {
    *requests = 0;
    for (size_t i = 0; i < writes.size(); ++i) {
        size_t written = 0;
        for (int failed = 0; written < writes[i].bytes.size();) {
            if (go_on && !go_on(i, writes.size())) return Reading::stopped;
            const size_t left = writes[i].bytes.size() - written;
            unsigned long count = left;
            ++*requests;
            const bool answered = e2p_write(static_cast<uint16_t>(writes[i].address + written),
                                            &writes[i].bytes[written], &count) == req_ok;
            if (answered && count > 0 && count <= left)
                written += count;
            else if (++failed == tries)
                return Reading::silent;
        }
    }
    return Reading::finished;
}

bool writesEeprom(const comm_request& request) {
    return request.type == msg_type::remote_request
               ? request.command == msg_cmd::rmt_eeprom_erase_byte ||
                     request.command == msg_cmd::rmt_eeprom_erase_block
               : request.type == msg_type::request && request.command == msg_cmd::e2p_write;
}

std::optional<std::vector<const EepromPart*>> readSpoiltParts() {
    EepromImage image(eeprom_size, 0);
    for (const EepromPart& part : eeprom_parts) {
        const size_t size = part.is_can ? can_block_size : size_t{e2p_ctl_length};
        for (size_t at = 0; at < size; at += e2p_max_data) {
            const auto address = static_cast<uint16_t>(part.address + at);
            uint8_t* const out = &image[address - eeprom_begin];
            const size_t count = std::min<size_t>(e2p_max_data, size - at);
            if (!readEeprom(address, count, out) && !readEeprom(address, count, out)) return std::nullopt;
        }
    }
    return spoiltParts(image);
}

}  // namespace kovgui
