#include "tests/lib/fake_device.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "lib/can.h"
#include "lib/route.h"
#include "tests/support/frames.h"

namespace {

thread_local std::string sent_bytes;

void toRequester(const uint8_t* frame, uint16_t length) {
    route_reply(frame, length);
}

}  // namespace

Bytes counting(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

FakeDevice* FakeDevice::current_ = nullptr;

FakeDevice::FakeDevice() {
    current_ = this;
    answer = [this](const Bytes& request) { return firmware(request); };
    for (int type = 0; type < 256; ++type)
        for (int command = 0; command < 256; ++command)
            if (comm_obj* obj = reply_object(static_cast<uint8_t>(type), static_cast<uint8_t>(command)))
                *obj = comm_obj_initial;
    can_set_mode_ctl = comm_obj_initial;
    comm_begin();
    hdlc_init(onByte, toRequester);
    thread_ = std::thread([this] { run(); });
}

FakeDevice::~FakeDevice() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    thread_.join();
    hdlc_init(nullptr, nullptr);
}

void FakeDevice::onByte(int byte) {
    sent_bytes += static_cast<char>(byte);
    if (byte != hdlc_flag || sent_bytes.size() == 1) return;
    const std::lock_guard lock(current_->mutex_);
    for (Bytes& request : framesIn(std::exchange(sent_bytes, {}))) {
        current_->requests_.push_back(request);
        current_->pending_.push_back(std::move(request));
    }
    current_->changed_.notify_all();
}

void FakeDevice::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ended_ || !pending_.empty(); });
        if (ended_) return;
        const Bytes request = std::move(pending_.front());
        pending_.pop_front();
        lock.unlock();
        for (const Bytes& reply : answer.get()(request))
            deliver(reply);
        lock.lock();
    }
}

void FakeDevice::deliver(const Bytes& frame) {
    if (frame.size() >= hdlc_msg_header_size)
        if (comm_obj* obj = reply_object(frame[0], frame[1])) {
            // The requester holds its lock from before it sends until it waits.
            pthread_mutex_lock(&obj->lock);
            pthread_mutex_unlock(&obj->lock);
        }
    for (const char byte : framed(frame))
        hdlc_on_rx_byte(static_cast<uint8_t>(byte));
}

void FakeDevice::answerWith(const Bytes& payload) {
    answer = [this, payload](const Bytes& request) {
        std::vector<Bytes> replies = firmware(request);
        for (Bytes& reply : replies) {
            reply.resize(hdlc_msg_header_size);
            reply.insert(reply.end(), payload.begin(), payload.end());
        }
        return replies;
    };
}

std::vector<Bytes> FakeDevice::firmware(const Bytes& request) {
    if (request.size() < hdlc_msg_header_size) return {};
    const uint8_t command = request[1];
    uint8_t type = 0;
    switch (request[0]) {
        case msg_type::request:
            type = command == msg_cmd::can_get_speed || command == msg_cmd::can_get_filter_mask
                       ? msg_type::data_reply
                       : msg_type::reply;
            break;
        case msg_type::read_request:
            type = msg_type::data_reply;
            break;
        case msg_type::control_request:
            type = msg_type::control_reply;
            break;
        case msg_type::remote_request:
            type = msg_type::remote_reply;
            break;
        default:
            return {};
    }
    Bytes reply{type, command};
    const Bytes payload = replyPayload(request);
    reply.insert(reply.end(), payload.begin(), payload.end());
    return {reply};
}

Bytes FakeDevice::replyPayload(const Bytes& request) {
    const Bytes in(request.begin() + hdlc_msg_header_size, request.end());
    const bool remote = request[0] == msg_type::remote_request;
    const Bytes data = remote ? Bytes(in.begin() + rmt_header_size, in.end()) : in;
    const auto key = [&] { return std::pair{get_le16(data.data()), get_le16(data.data() + 2)}; };
    switch (request[0] << 8 | request[1]) {
        case 0xF001:
            registers.at(in.at(0)).at(in.at(1)) = get_le16(&in.at(2));
            return in;
        case 0xF002: {
            Bytes out{in.at(0), in.at(1), 0, 0};
            put_le16(&out[2], registers.at(in[0]).at(in[1]));
            return out;
        }
        case 0xF005:
            registers[6][in.at(0)] = in.at(1);
            return in;
        case 0xF006:
            return {in.at(0), static_cast<uint8_t>(registers[6][in[0]])};
        case 0xF008: {
            const auto taken = static_cast<uint8_t>(std::min<unsigned>(in.at(2), acknowledgedAtMost));
            std::copy_n(in.begin() + 3, taken, eeprom.begin() + get_le16(in.data()));
            return {in[0], in[1], taken};
        }
        case 0xF009: {
            Bytes out = in;
            const auto* from = eeprom.begin() + get_le16(in.data());
            out.insert(out.end(), from, from + in.at(2));
            return out;
        }
        case 0xF201: {
            Bytes out(4);
            put_le32(out.data(), mib[{get_le16(data.data()), data.at(2)}]);
            return out;
        }
        case 0xF202:
            return tables[{uint16_t{2}, get_le16(data.data())}];
        case 0xF204: {
            Bytes& entry = tables[key()];
            entry.resize(9);
            return entry;
        }
        case 0xF205:
            tables[key()] = Bytes(data.begin() + 4, data.end());
            return {tableStatus};
        default:
            return data;
    }
}
