#include "sim/firmware.h"

#include <algorithm>
#include <utility>

#include "lib/device_cmd.h"
#include "lib/e2p.h"

namespace oabr_sim {

namespace {

constexpr uint8_t erased = 0xFF;

bool is_control(const uint8_t* record, uint8_t kind, uint16_t value) {
    return (record[0] & 0x0F) >= e2p_ctl_length && record[0] >> 4 == kind && get_le16(record + 1) == value;
}

std::vector<uint8_t> le32(uint32_t value) {
    std::vector<uint8_t> out(4);
    put_le32(out.data(), value);
    return out;
}

std::vector<uint8_t> with_header(uint8_t type, uint8_t command, const std::vector<uint8_t>& payload) {
    std::vector<uint8_t> out;
    out.reserve(hdlc_msg_header_size + payload.size());
    out.push_back(type);
    out.push_back(command);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

}  // namespace

/// One row for each request: its codes, the payload it needs at least, the type of its reply, and what it
/// does. The reply carries the request's command; `run` gives the payload.
struct firmware::request {
    uint8_t type;
    uint8_t command;
    uint8_t minimum;
    uint8_t reply_type;
    bytes (*run)(firmware& self, const uint8_t* in, size_t length);
};

const firmware::request firmware::requests[] = {
    {msg_type::request, msg_cmd::mdio_write, 4, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes { return self.mdio_write(in); }},
    {msg_type::request, msg_cmd::mdio_read, 2, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes { return self.mdio_read(in); }},
    {msg_type::request, msg_cmd::debug, 0, msg_type::reply,
     [](firmware&, const uint8_t* in, size_t length) -> bytes {
         return {in, in + length};
     }},
    {msg_type::request, msg_cmd::ping, 0, msg_type::reply,
     [](firmware&, const uint8_t* in, size_t length) -> bytes {
         return {in, in + length};
     }},
    {msg_type::request, msg_cmd::smi_write, 2, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes { return self.smi_write(in); }},
    {msg_type::request, msg_cmd::smi_read, 1, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes { return self.smi_read(in); }},
    {msg_type::request, msg_cmd::e2p_write, 3, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t length) -> bytes { return self.e2p_write(in, length); }},
    {msg_type::request, msg_cmd::e2p_read, 3, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes { return self.e2p_read(in); }},
    {msg_type::request, msg_cmd::can_set_speed, can_speed_size, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes {
         std::copy_n(in, can_speed_size, self.device_.can.speed.begin());
         return {};
     }},
    {msg_type::request, msg_cmd::can_get_speed, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         return {self.device_.can.speed.begin(), self.device_.can.speed.end()};
     }},
    {msg_type::request, msg_cmd::can_set_filter_mask, can_filter_size, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes {
         std::copy_n(in, can_filter_size, self.device_.can.filter.begin());
         return {};
     }},
    {msg_type::request, msg_cmd::can_get_filter_mask, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         return {self.device_.can.filter.begin(), self.device_.can.filter.end()};
     }},
    {msg_type::request, msg_cmd::can_trace_enable, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         self.device_.can.trace = true;
         return {};
     }},
    {msg_type::request, msg_cmd::can_trace_disable, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         self.device_.can.trace = false;
         return {};
     }},
    {msg_type::request, msg_cmd::can_set_mode, 1, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes {
         self.device_.can.mode = in[0];
         return {};
     }},
    {msg_type::request, msg_cmd::can_get_mode, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes { return {self.device_.can.mode}; }},
    {msg_type::request, msg_cmd::can_reset, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         constexpr uint8_t configuration_mode = 0x80;
         self.device_.can.reset();
         self.device_.can.mode = configuration_mode;
         return {};
     }},
    {msg_type::request, msg_cmd::can_reinit, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         self.device_.can.load(self.device_.memory.eeprom);
         return {};
     }},
    {msg_type::request, msg_cmd::can_get_wakeup, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         bytes out(5);
         put_le32(out.data(), self.device_.can.wakeup_id);
         out[4] = self.device_.can.wakeup_flag;
         return out;
     }},
    {msg_type::request, msg_cmd::can_set_wakeup, 5, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes {
         self.device_.can.wakeup_id = get_le32(in);
         self.device_.can.wakeup_flag = in[4];
         return {};
     }},
    {msg_type::request, msg_cmd::get_eth_wakeup, 0, msg_type::reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         bytes out(8);
         put_le32(out.data(), self.device_.can.eth_wakeup[0]);
         put_le32(&out[4], self.device_.can.eth_wakeup[1]);
         return out;
     }},
    {msg_type::request, msg_cmd::set_eth_wakeup, 8, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes {
         self.device_.can.eth_wakeup[0] = get_le32(in);
         self.device_.can.eth_wakeup[1] = get_le32(in + 4);
         return {};
     }},
    {msg_type::request, msg_cmd::can_set_lcmode, 1, msg_type::reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes {
         self.device_.can.lifecycle_mode = in[0];
         return {};
     }},
    {msg_type::read_request, msg_cmd::can_get_lcmode, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes { return {self.device_.can.lifecycle_mode}; }},
    {msg_type::read_request, msg_cmd::hk_status, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes { return le32(self.device_.hardkeys); }},
    {msg_type::read_request, msg_cmd::fwv_read, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         const firmware_identity identity = find_firmware_identity(self.device_.memory.flash);
         return {std::begin(identity.version), std::end(identity.version)};
     }},
    {msg_type::read_request, msg_cmd::fwd_read, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         const firmware_identity identity = find_firmware_identity(self.device_.memory.flash);
         return {std::begin(identity.date), std::end(identity.date)};
     }},
    {msg_type::read_request, msg_cmd::bls_read, 0, msg_type::data_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         const std::string& text = self.bootloader_description_;
         bytes out(text.begin(),
                   text.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(text.size(), bls_max_length)));
         out.resize(bls_max_length, 0);
         return out;
     }},
    {msg_type::read_request, msg_cmd::blv_read, 0, msg_type::data_reply,
     [](firmware&, const uint8_t*, size_t) -> bytes {
         return {std::begin(bootloader_version), std::end(bootloader_version)};
     }},
    {msg_type::control_request, msg_cmd::power_on, 0, msg_type::control_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes { return self.power(true); }},
    {msg_type::control_request, msg_cmd::power_off, 0, msg_type::control_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes { return self.power(false); }},
    {msg_type::control_request, msg_cmd::bl_enable, 0, msg_type::control_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         self.device_.memory.bootloader_flag = self.device_.memory_changed = true;
         return {};
     }},
    {msg_type::control_request, msg_cmd::bl_disable, 0, msg_type::control_reply,
     [](firmware& self, const uint8_t*, size_t) -> bytes {
         self.device_.memory.bootloader_flag = false;
         self.device_.memory_changed = true;
         return {};
     }},
    {msg_type::control_request, msg_cmd::wup_ctl, 1, msg_type::control_reply,
     [](firmware& self, const uint8_t* in, size_t) -> bytes { return self.wakeup(in[0]); }},
};

firmware::firmware(hardware& device, fault_plan& faults, std::string bootloader_description)
    : device_(device), faults_(faults), bootloader_description_(std::move(bootloader_description)) {}

void firmware::start() {
    device_.chip.reset();
    device_.mdio.reset();
    device_.can.reset();
    device_.can.load(device_.memory.eeprom);
    device_.ethernet_power = true;
    device_.wakeup_line = false;
    replayed_ = 0;
    for (const e2p_area& each : e2p_areas)
        replay(each.address, each.limit);
}

void firmware::replay(uint16_t address, uint16_t limit) {
    const std::vector<uint8_t>& eeprom = device_.memory.eeprom;
    if (!is_control(&eeprom[address], e2p_kind::begin, e2p_begin_value)) return;
    while (address < limit) {
        const uint8_t* record = &eeprom[address];
        const int length = record[0] & 0x0F;
        // Where a list has no end marker the replay stops at the first thing that is no record.
        if (length < 1 || length > e2p_itab_length || address + length > limit) return;
        if (is_control(record, e2p_kind::end, e2p_end_value)) return;
        replay_record(record, length);
        address = static_cast<uint16_t>(address + length);
    }
}

void firmware::replay_record(const uint8_t* record, int length) {
    const int kind = record[0] >> 4;
    if (length == e2p_mdio_length && (kind == e2p_kind::and_mask || kind == e2p_kind::or_mask)) {
        const uint16_t value = get_le16(record + 3);
        const uint16_t now = device_.mdio.read(record[1], record[2]);
        device_.mdio.write(record[1], record[2],
                           static_cast<uint16_t>(kind == e2p_kind::and_mask ? now & value : now | value));
        ++replayed_;
    } else if (length == e2p_itab_length && kind == e2p_kind::table_write) {
        ksz_entry_data data{};
        std::copy_n(record + 4, data.size(), data.begin());
        device_.chip.write_entry(static_cast<ksz_table>(record[1]), get_le16(record + 2), data);
        ++replayed_;
    }
}

bool firmware::take_power_loss() {
    return std::exchange(power_lost_, false);
}

std::vector<uint8_t> firmware::answer(const uint8_t* frame, uint16_t length) {
    if (length < hdlc_msg_header_size) return {};
    const uint8_t type = frame[0];
    const uint8_t command = frame[1];
    const uint8_t* payload = frame + hdlc_msg_header_size;
    const size_t payload_length = length - static_cast<size_t>(hdlc_msg_header_size);
    if (std::exchange(faults_.dynamic_not_ready, false)) device_.chip.next_dynamic_not_ready();
    if (std::exchange(faults_.counter_not_valid, false)) device_.chip.next_counter_not_valid();

    if (type == msg_type::reply) return {};  // to a ping of ours
    if (type == msg_type::remote_request) {
        const bytes reply = remote(command, payload, payload_length);
        if (!reply.empty()) return with_header(msg_type::remote_reply, command, reply);
    }
    for (const request& row : requests) {
        if (row.type != type || row.command != command) continue;
        size_t minimum = row.minimum;
        if (type == msg_type::request && command == msg_cmd::e2p_write && payload_length >= minimum)
            minimum += payload[2];  // the data
        if (payload_length < minimum) break;
        return with_header(row.reply_type, command, row.run(*this, payload, payload_length));
    }
    return {msg_type::error, msg_cmd::error_report, type, command};
}

firmware::bytes firmware::mdio_write(const uint8_t* in) {
    if (device_.ethernet_power) device_.mdio.write(in[0], in[1], get_le16(in + 2));
    return {in, in + 4};
}

firmware::bytes firmware::mdio_read(const uint8_t* in) {
    constexpr uint16_t unpowered = 0xFFFF;
    bytes out = {in[0], in[1], 0, 0};
    put_le16(&out[2], device_.ethernet_power ? device_.mdio.read(in[0], in[1]) : unpowered);
    return out;
}

firmware::bytes firmware::smi_write(const uint8_t* in) {
    if (device_.ethernet_power) device_.chip.write(in[0], in[1]);
    return {in, in + 2};
}

firmware::bytes firmware::smi_read(const uint8_t* in) {
    constexpr uint8_t unpowered = 0xFF;
    return {in[0],
            device_.ethernet_power ? static_cast<uint8_t>(device_.mdio.read(mdio_switch, in[0])) : unpowered};
}

bool firmware::write_eeprom(size_t address, const uint8_t* data, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (faults_.eeprom_power_loss.strikes()) {
            power_lost_ = true;
            return false;
        }
        device_.memory.eeprom[address + i] = data[i];
        device_.memory_changed = true;
    }
    return true;
}

firmware::bytes firmware::e2p_write(const uint8_t* in, size_t length) {
    const uint16_t address = get_le16(in);
    size_t count = std::min<size_t>({in[2], length - 3, e2p_max_data});
    if (faults_.e2p_max) count = std::min<size_t>(count, *faults_.e2p_max);
    count = address < eeprom_size ? std::min<size_t>(count, eeprom_size - address) : 0;
    write_eeprom(address, in + 3, count);
    return {in[0], in[1], static_cast<uint8_t>(count)};
}

firmware::bytes firmware::e2p_read(const uint8_t* in) {
    const uint16_t address = get_le16(in);
    size_t count = std::min<size_t>(in[2], e2p_max_data);
    count = address < eeprom_size ? std::min<size_t>(count, eeprom_size - address) : 0;
    bytes out(3 + count);
    out[0] = in[0];
    out[1] = in[1];
    out[2] = static_cast<uint8_t>(count);
    if (count > 0) std::copy_n(&device_.memory.eeprom[address], count, &out[3]);
    return out;
}

firmware::bytes firmware::power(bool on) {
    if (on && !device_.ethernet_power) {
        device_.chip.reset();
        device_.mdio.reset();
        for (const e2p_area& each : e2p_areas)
            replay(each.address, each.limit);
    }
    device_.ethernet_power = on;
    return {};
}

firmware::bytes firmware::wakeup(uint8_t value) {
    constexpr uint8_t battery = 0;
    if (value == wup_on) device_.wakeup_line = true;
    if (value == wup_off) device_.wakeup_line = false;
    if (value == wup_get) return {device_.wakeup_line ? battery : uint8_t{wup_ground}};
    return {value};
}

firmware::bytes firmware::read_table(const uint8_t* in) {
    const uint16_t selector = get_le16(in);
    ksz_entry_data data{};
    if (selector <= static_cast<uint16_t>(ksz_table::mib) && device_.ethernet_power)
        data = device_.chip.read_entry(static_cast<ksz_table>(selector), get_le16(in + 2));
    return {data.begin(), data.end()};
}

firmware::bytes firmware::write_table(const uint8_t* in) {
    constexpr uint8_t done = 0;
    constexpr uint8_t refused = 1;
    const uint16_t selector = get_le16(in);
    ksz_entry_data data{};
    std::copy_n(in + ind_tab_address_size, data.size(), data.begin());
    const bool known = selector <= static_cast<uint16_t>(ksz_table::mib) && device_.ethernet_power;
    return {known && device_.chip.write_entry(static_cast<ksz_table>(selector), get_le16(in + 2), data)
                ? done
                : refused};
}

/// Remote functions: a header with the data length and the length of the reply wanted, then the data.
firmware::bytes firmware::remote(uint8_t command, const uint8_t* payload, size_t length) {
    if (length < rmt_header_size) return {};
    const size_t data_length = get_le16(payload);
    const uint8_t* in = payload + rmt_header_size;
    if (data_length > length - rmt_header_size) return {};
    constexpr uint8_t done = 0;
    constexpr uint8_t refused = 1;
    const auto erase = [&](size_t address, size_t count) -> bytes {
        if (address + count > eeprom_size) return {refused};
        const bytes blank(count, erased);
        write_eeprom(address, blank.data(), count);
        return {done};
    };
    switch (command) {
        case msg_cmd::rmt_echo:
            return {in, in + data_length};
        case msg_cmd::rmt_mib_tab_entry_read:
            if (data_length < 3) return {};
            return le32(device_.ethernet_power ? device_.chip.read_counter(get_le16(in), in[2]) : 0);
        case msg_cmd::rmt_dynmac_tab_entry_read: {
            if (data_length < 2) return {};
            const ksz_entry_data data = device_.chip.read_entry(ksz_table::dynamic_mac, get_le16(in));
            return {data.begin(), data.end()};
        }
        case msg_cmd::rmt_ind_tab_entry_read:
            return data_length < ind_tab_address_size ? bytes{} : read_table(in);
        case msg_cmd::rmt_ind_tab_entry_write:
            return data_length < ind_tab_address_size + ind_tab_data_size ? bytes{} : write_table(in);
        case msg_cmd::rmt_eeprom_erase_byte:
            return data_length < 2 ? bytes{} : erase(get_le16(in), 1);
        case msg_cmd::rmt_eeprom_erase_block:
            return data_length < 4 ? bytes{} : erase(get_le16(in), get_le16(in + 2));
        default:
            return {};
    }
}

}  // namespace oabr_sim
