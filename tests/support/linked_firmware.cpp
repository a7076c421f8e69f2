#include "tests/support/linked_firmware.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "lib/can.h"
#include "lib/hdlc.h"
#include "lib/route.h"
#include "tests/support/frames.h"

namespace {

thread_local std::string sent_bytes;
LinkedFirmware* current = nullptr;

void toRequester(const uint8_t* frame, uint16_t length) {
    route_reply(frame, length);
}

void deliver(const Bytes& frame) {
    if (frame.size() >= hdlc_msg_header_size)
        if (comm_obj* obj = reply_object(frame[0], frame[1])) {
            // The requester holds its lock from before it sends until it waits.
            pthread_mutex_lock(&obj->lock);
            pthread_mutex_unlock(&obj->lock);
        }
    for (const char byte : framed(frame))
        hdlc_on_rx_byte(static_cast<uint8_t>(byte));
}

}  // namespace

Bytes counting(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

void forgetRequestObjects() {
    for (int type = 0; type < 256; ++type)
        for (int command = 0; command < 256; ++command)
            if (comm_obj* obj = reply_object(static_cast<uint8_t>(type), static_cast<uint8_t>(command)))
                *obj = comm_obj_initial;
    can_set_mode_ctl = comm_obj_initial;
}

LinkedFirmware::LinkedFirmware() : SimulatedFirmware(deliver) {
    current = this;
    forgetRequestObjects();
    comm_begin();
    hdlc_init(onByte, toRequester);
}

LinkedFirmware::~LinkedFirmware() {
    stop();
    hdlc_init(nullptr, nullptr);
}

void LinkedFirmware::onByte(int byte) {
    sent_bytes += static_cast<char>(byte);
    if (byte != hdlc_flag || sent_bytes.size() == 1) return;
    for (Bytes& request : framesIn(std::exchange(sent_bytes, {})))
        current->take(std::move(request));
}

void LinkedFirmware::answerWith(const Bytes& payload) {
    answer = [this, payload](const Bytes& request) {
        std::vector<Bytes> replies = firmware(request);
        for (Bytes& reply : replies) {
            reply.resize(hdlc_msg_header_size);
            reply.insert(reply.end(), payload.begin(), payload.end());
        }
        return replies;
    };
}

std::vector<uint16_t> LinkedFirmware::settings() {
    constexpr int indirect_first = 110;
    constexpr int indirect_last = 120;
    constexpr int live[] = {41, 46, 47, 57, 62, 63};
    constexpr int phy_live = 1;  // of the BroadR-Reach ports
    std::vector<uint16_t> all;
    for (int number = 0; number < 256; ++number) {
        const bool indirect = number >= indirect_first && number <= indirect_last;
        if (!indirect && std::find(std::begin(live), std::end(live), number) == std::end(live))
            all.push_back(reg(mdio_switch, number));
    }
    for (const int port : {port_oabr1, port_oabr2})
        for (int number = 0; number < 32; ++number)
            if (number != phy_live) all.push_back(reg(port_phy(port), number));
    for (const ksz_table table : {ksz_table::static_mac, ksz_table::vlan})
        for (uint16_t index = 0; index < 32; ++index)
            for (const uint8_t byte : entry(table, index))
                all.push_back(byte);
    return all;
}
