#include "sim/switch_chip.h"

#include <algorithm>

namespace oabr_sim {

namespace {

constexpr uint8_t reg_chip_id0 = 0;
constexpr uint8_t reg_chip_id1 = 1;
constexpr uint8_t chip_started = 0x01;
constexpr uint8_t reg_global1 = 3;
constexpr uint8_t aging_on = 0x04;
constexpr uint8_t fast_aging = 0x02;
constexpr uint8_t reg_global2 = 4;
constexpr uint8_t boundary_for_all = 0x80;  ///< membership holds for known addresses too; mirroring needs it
constexpr uint8_t sniff_and = 0x01;
constexpr uint8_t reg_indirect_control0 = 110;
constexpr uint8_t reg_indirect_control1 = 111;
constexpr uint8_t indirect_read = 0x10;
constexpr uint8_t reg_indirect_data_first = 112;
constexpr uint8_t reg_indirect_data_last = 120;
constexpr uint8_t reg_identification = 137;

// offsets in a port's bank

constexpr uint8_t transmit_on = 0x04;
constexpr uint8_t receive_on = 0x02;
constexpr uint8_t learning_off = 0x01;

constexpr uint8_t advertise_pause = 0x10;
constexpr uint8_t advertise_speeds = 0x0F;  ///< 100 full, 100 half, 10 full, 10 half
constexpr uint8_t power_down = 0x08;
constexpr uint8_t phy_soft_reset = 0x10;

constexpr uint64_t static_write_use_fid = 1ull << 55;
constexpr uint64_t static_valid = 1ull << 53;
constexpr int static_ports_at = 48;
constexpr int static_fid_write_at = 56;
constexpr uint64_t mac_mask = (1ull << 48) - 1;
constexpr uint32_t vlan_slot_valid = 1u << 12;

// MIB indices
enum : uint8_t {
    rx_low_bytes = 0x00,
    rx_undersize = 0x02,
    rx_oversize = 0x04,
    rx_broadcast = 0x0B,
    rx_multicast = 0x0C,
    rx_unicast = 0x0D,
    rx_64 = 0x0E,
    tx_low_bytes = 0x14,
    tx_broadcast = 0x18,
    tx_multicast = 0x19,
    tx_unicast = 0x1A,
};

constexpr uint16_t shortest_frame = 64;
constexpr uint16_t longest_frame = 1522;
constexpr uint8_t start_age = 4;
constexpr size_t dynamic_capacity = 1024;

constexpr uint8_t chip_bit(int port) {
    return ksz_chip_ports(port_bit(port));
}
bool is_broadcast(const mac_address& mac) {
    return std::all_of(mac.begin(), mac.end(), [](uint8_t byte) { return byte == 0xFF; });
}
bool is_multicast(const mac_address& mac) {
    return (mac[5] & 1) != 0;
}

ksz_entry_data from_bits(uint64_t bits) {
    ksz_entry_data data{};
    for (size_t i = 0; i < 8; ++i)
        data[i] = static_cast<uint8_t>(bits >> (8 * i));
    return data;
}
uint64_t to_bits(const ksz_entry_data& data) {
    uint64_t bits = 0;
    for (size_t i = 0; i < 8; ++i)
        bits |= static_cast<uint64_t>(data[i]) << (8 * i);
    return bits;
}
uint64_t mac_bits(const mac_address& mac) {
    uint64_t bits = 0;
    for (size_t i = 0; i < mac.size(); ++i)
        bits |= static_cast<uint64_t>(mac[i]) << (8 * i);
    return bits;
}

/// Only FID and use FID stand one bit higher where the chip reads an entry.
uint64_t static_read_layout(uint64_t written) {
    const uint64_t low = written & ((1ull << 55) - 1);
    const uint64_t use_fid = written >> 55 & 1;
    const uint64_t fid = written >> static_fid_write_at & ksz_max_fid;
    return low | use_fid << 56 | fid << 57;
}

}  // namespace

switch_chip::switch_chip() {
    reset();
}

void switch_chip::reset() {
    regs_.fill(0);
    regs_[reg_chip_id0] = 0x95;
    regs_[reg_chip_id1] = 0x41;
    regs_[reg_global1] = aging_on;
    regs_[reg_global2] = 0xF0;
    regs_[reg_identification] = 0x40;
    regs_[254] = 0x80;
    for (int port = 1; port <= port_count; ++port) {
        regs_[ksz_reg_port(port, ksz_control1)] = 0x1F;
        regs_[ksz_reg_port(port, ksz_control2)] = 0x06;
        regs_[ksz_reg_port(port, ksz_control4)] = 0x01;
        if (port <= port_eth) regs_[ksz_reg_port(port, ksz_control5)] = 0x5F;
    }
    static_mac_.fill(0);
    vlan_.fill(0);
    dynamic_.clear();
    counters_.fill({});
}

uint8_t switch_chip::port_bits(int port, int offset) const {
    return regs_[ksz_reg_port(port, offset)];
}

/// What a port's PHY and its partner, which can do everything, agree on.
struct switch_chip::phy_result {
    bool link;
    bool negotiated;
    bool fast;
    bool full;
    bool flow;
};

switch_chip::phy_result switch_chip::negotiate(int port) const {
    const uint8_t control = port_bits(port, ksz_control5);
    const bool flow_forced = (port_bits(port, ksz_control2) & ksz_force_flow) != 0;
    const bool powered = (port_bits(port, ksz_control6) & power_down) == 0;
    if ((control & ksz_negotiation_off) != 0)
        return {powered, false, (control & ksz_forced_100_mbit) != 0, (control & ksz_forced_full_duplex) != 0,
                flow_forced};
    const uint8_t speeds = control & advertise_speeds;
    if (!powered || speeds == 0) return {false, false, false, false, false};
    const bool fast = (speeds & 0x0C) != 0;
    const bool full = (speeds & (fast ? 0x08 : 0x02)) != 0;
    return {true, true, fast, full, flow_forced || (full && (control & advertise_pause) != 0)};
}

bool switch_chip::link(int port) const {
    return port <= port_eth ? negotiate(port).link : outer_link_[static_cast<size_t>(port)];
}

uint8_t switch_chip::read_live_status(int port, int offset) const {
    constexpr uint8_t auto_mdix = 0x80;
    constexpr uint8_t partner_abilities = 0x1F;
    constexpr uint8_t negotiating = 1;
    const phy_result found = negotiate(port);
    switch (offset) {
        case ksz_status0:
            return static_cast<uint8_t>(auto_mdix | (found.flow ? ksz_status_flow : 0) |
                                        (found.fast ? ksz_status_100_mbit : 0) |
                                        (found.full ? ksz_status_full_duplex : 0));
        case ksz_status1:
            return static_cast<uint8_t>((found.negotiated ? 0x40 | partner_abilities : 0) |
                                        (found.link ? 0x20 : 0));
        default: {  // ksz_status2: the low three bits name the mode
            const int mode = !found.link ? negotiating : (found.full ? 5 : 2) + (found.fast ? 1 : 0);
            return static_cast<uint8_t>((port_bits(port, ksz_status2) & 0xF8) | mode);
        }
    }
}

uint8_t switch_chip::read(uint8_t reg) {
    for (int port = port_usb; port <= port_eth; ++port) {
        const int offset = reg - ksz_reg_port(port, 0);
        if (offset == ksz_status0 || offset == ksz_status1 || offset == ksz_status2)
            return read_live_status(port, offset);
    }
    return regs_[reg];
}

void switch_chip::write(uint8_t reg, uint8_t value) {
    switch (reg) {
        case reg_chip_id0:
        case reg_identification:
            return;
        case reg_chip_id1:
            regs_[reg] = static_cast<uint8_t>((regs_[reg] & ~chip_started) | (value & chip_started));
            return;
        case ksz_reg_global0:
            write_global_2(value);
            return;
        case reg_indirect_control1:
            regs_[reg] = value;
            start_transfer();
            return;
        default:
            break;
    }
    for (int port = port_usb; port <= port_eth; ++port) {
        const int offset = reg - ksz_reg_port(port, 0);
        if (offset == ksz_status0 || offset == ksz_status1) return;
        // Bits that ask for something clear themselves when it is done.
        if (offset == ksz_control6) value &= static_cast<uint8_t>(~ksz_restart_negotiation);
        if (offset == ksz_status2) value &= static_cast<uint8_t>(~phy_soft_reset);
    }
    regs_[reg] = value;
}

void switch_chip::write_global_2(uint8_t value) {
    if ((value & ksz_flush_dynamic_mac) != 0) dynamic_.clear();
    if ((value & ksz_flush_static_mac) != 0) static_mac_.fill(0);
    regs_[ksz_reg_global0] = static_cast<uint8_t>(value & ~(ksz_flush_dynamic_mac | ksz_flush_static_mac));
}

void switch_chip::start_transfer() {
    const uint8_t control = regs_[reg_indirect_control0];
    const auto which = static_cast<ksz_table>(control >> 2 & 3);
    const auto entry = static_cast<uint16_t>((control & 3) << 8 | regs_[reg_indirect_control1]);
    if ((control & indirect_read) != 0) {
        const ksz_entry_data data = read_entry(which, entry);
        std::reverse_copy(data.begin(), data.end(), regs_.begin() + reg_indirect_data_first);
        return;
    }
    ksz_entry_data data{};
    std::reverse_copy(regs_.begin() + reg_indirect_data_first, regs_.begin() + reg_indirect_data_last + 1,
                      data.begin());
    write_entry(which, entry, data);
}

ksz_entry_data switch_chip::read_entry(ksz_table which, uint16_t entry) {
    switch (which) {
        case ksz_table::static_mac:
            return entry < static_mac_.size() ? from_bits(static_read_layout(static_mac_[entry]))
                                              : ksz_entry_data{};
        case ksz_table::vlan:
            return entry < vlan_.size() ? from_bits(vlan_[entry]) : ksz_entry_data{};
        case ksz_table::dynamic_mac:
            return dynamic_data(entry);
        case ksz_table::mib:
            return from_bits(take_mib(entry));
    }
    return {};
}

bool switch_chip::write_entry(ksz_table which, uint16_t entry, const ksz_entry_data& data) {
    constexpr uint64_t vlan_bits = (1ull << 52) - 1;
    if (which == ksz_table::static_mac && entry < static_mac_.size())
        static_mac_[entry] = to_bits(data) & ~(1ull << 63);
    else if (which == ksz_table::vlan && entry < vlan_.size())
        vlan_[entry] = to_bits(data) & vlan_bits;
    else
        return false;
    return true;
}

ksz_entry_data switch_chip::dynamic_data(uint16_t entry) {
    if (dynamic_.empty()) {
        ksz_entry_data data{};
        data[8] = 0x80;
        return data;
    }
    ksz_entry_data data{};
    const auto count = static_cast<uint16_t>(dynamic_.size() - 1);
    if (entry < dynamic_.size()) {
        const dynamic_entry& found = dynamic_[entry];
        std::copy(found.mac.begin(), found.mac.end(), data.begin());
        data[6] = found.fid;
        data[7] = static_cast<uint8_t>(found.port | (found.age & 3) << 3);
    }
    if (dynamic_not_ready_) {
        data[6] |= 0x80;
        dynamic_not_ready_ = false;
    }
    data[7] |= static_cast<uint8_t>((count & 7) << 5);
    data[8] = static_cast<uint8_t>(count >> 3);
    return data;
}

uint32_t switch_chip::take_mib(uint16_t entry) {
    constexpr uint16_t tx_drops_at = ksz_mib_drop_first;
    constexpr uint16_t rx_drops_at = 0x105;
    if (entry > tx_drops_at && entry <= tx_drops_at + port_count)
        return counters_[entry - tx_drops_at].tx_drops;
    if (entry > rx_drops_at && entry <= rx_drops_at + port_count)
        return counters_[entry - rx_drops_at].rx_drops;
    if (entry >= tx_drops_at) return 0;
    const int port = entry >> 5;
    const size_t index = entry & 0x1F;
    if (!is_port(port)) return mib_valid;
    if (counter_not_valid_) {
        counter_not_valid_ = false;
        return 0;
    }
    port_counters& counters = counters_[static_cast<size_t>(port)];
    const uint32_t value = mib_valid | (counters.overflow[index] ? mib_overrun : 0) | counters.count[index];
    counters.count[index] = 0;
    counters.overflow[index] = false;
    return value;
}

uint32_t switch_chip::read_counter(int port, uint8_t index) {
    constexpr uint8_t tx_drops = 0x20;
    constexpr uint8_t rx_drops = 0x25;
    if (!is_port(port)) return 0;
    if (index == tx_drops) return mib_valid | counters_[static_cast<size_t>(port)].tx_drops;
    if (index == rx_drops) return mib_valid | counters_[static_cast<size_t>(port)].rx_drops;
    return index < 0x20 ? take_mib(static_cast<uint16_t>(0x20 * port + index)) : 0;
}

void switch_chip::count(int port, uint8_t index, uint32_t amount) {
    port_counters& counters = counters_[static_cast<size_t>(port)];
    const uint32_t sum = counters.count[index] + amount;
    if (sum > mib_count_mask) counters.overflow[index] = true;
    counters.count[index] = sum & mib_count_mask;
}

void switch_chip::count_received(int port, const traffic_frame& frame) {
    constexpr uint16_t upper[] = {64, 127, 255, 511, 1023, 1522};
    count(port, rx_low_bytes, frame.length);
    if (frame.length < upper[0]) {
        count(port, rx_undersize);
        return;
    }
    if (frame.length > upper[5]) {
        count(port, rx_oversize);
        return;
    }
    const auto* size = std::lower_bound(std::begin(upper), std::end(upper), frame.length);
    count(port, static_cast<uint8_t>(rx_64 + (size - std::begin(upper))));
    count(port, is_broadcast(frame.destination)   ? rx_broadcast
                : is_multicast(frame.destination) ? rx_multicast
                                                  : rx_unicast);
}

void switch_chip::transmit(int port, const traffic_frame& frame) {
    count(port, tx_low_bytes, frame.length);
    count(port, is_broadcast(frame.destination)   ? tx_broadcast
                : is_multicast(frame.destination) ? tx_multicast
                                                  : tx_unicast);
}

void switch_chip::learn(int port, uint8_t fid, const mac_address& mac) {
    auto found = std::find_if(dynamic_.begin(), dynamic_.end(), [&](const dynamic_entry& entry) {
        return entry.fid == fid && entry.mac == mac;
    });
    if (found == dynamic_.end()) {
        if (dynamic_.size() == dynamic_capacity) return;
        dynamic_.push_back({mac, 0, fid, 0});
        found = dynamic_.end() - 1;
    }
    found->port = static_cast<uint8_t>(port);
    found->age = start_age - 1;
}

void switch_chip::age(std::chrono::milliseconds elapsed) {
    constexpr std::chrono::milliseconds slow_step{75'000};
    constexpr std::chrono::milliseconds fast_step{200};
    since_aging_ += elapsed;
    if (since_aging_ < ((regs_[reg_global1] & fast_aging) != 0 ? fast_step : slow_step)) return;
    since_aging_ = {};
    if ((regs_[reg_global1] & aging_on) == 0) return;
    std::erase_if(dynamic_, [](const dynamic_entry& entry) { return entry.age == 0; });
    for (dynamic_entry& entry : dynamic_)
        --entry.age;
}

/// The ports that a frame is to leave by. Static entries come before learned ones, and both before flooding.
uint8_t switch_chip::targets_of(int port, uint8_t fid, uint8_t vlan_members,
                                const mac_address& destination) const {
    const uint64_t wanted = mac_bits(destination);
    const uint8_t may_reach = port_bits(port, ksz_control1) & ksz_membership;
    const uint8_t others = vlan_members & static_cast<uint8_t>(~chip_bit(port));
    const auto fixed = std::find_if(static_mac_.begin(), static_mac_.end(), [&](uint64_t entry) {
        const bool same_fid =
            (entry & static_write_use_fid) == 0 || (entry >> static_fid_write_at & ksz_max_fid) == fid;
        return (entry & static_valid) != 0 && (entry & mac_mask) == wanted && same_fid;
    });
    if (fixed != static_mac_.end())
        return static_cast<uint8_t>(*fixed >> static_ports_at) & others & may_reach;
    const auto learned = std::find_if(dynamic_.begin(), dynamic_.end(), [&](const dynamic_entry& entry) {
        return entry.fid == fid && entry.mac == destination;
    });
    if (learned == dynamic_.end()) return others & may_reach;
    const bool bounded = (regs_[reg_global2] & boundary_for_all) != 0;
    return chip_bit(learned->port) & others & (bounded ? may_reach : ksz_membership);
}

void switch_chip::receive_frame(int port, const traffic_frame& frame) {
    const uint8_t ingress = port_bits(port, ksz_control2);
    if ((ingress & receive_on) == 0 || !link(port)) return;
    count_received(port, frame);
    if (frame.length < shortest_frame || frame.length > longest_frame) return;

    const auto pvid = static_cast<uint16_t>((port_bits(port, ksz_control3) & ksz_pvid_high) << 8 |
                                            port_bits(port, ksz_control4));
    const uint16_t vid = frame.vid && *frame.vid != 0 ? *frame.vid : pvid;
    uint8_t fid = 0;
    uint8_t vlan_members = ksz_membership;
    if ((regs_[ksz_reg_global3] & ksz_vlan_enable) != 0) {
        const auto slot = static_cast<uint32_t>(vlan_[vid / 4] >> (13 * (vid % 4)) & 0x1FFF);
        const bool wrong_pvid = (ingress & ksz_discard_non_pvid) != 0 && vid != pvid;
        const bool not_member = (ingress & ksz_ingress_filter) != 0 && (slot >> 7 & chip_bit(port)) == 0;
        if ((slot & vlan_slot_valid) == 0 || wrong_pvid || not_member) {
            ++counters_[static_cast<size_t>(port)].rx_drops;
            return;
        }
        fid = slot & ksz_max_fid;
        vlan_members = slot >> 7 & ksz_membership;
    }
    if ((ingress & learning_off) == 0 && !is_multicast(frame.source)) learn(port, fid, frame.source);

    const uint8_t targets = targets_of(port, fid, vlan_members, frame.destination);
    uint8_t sent = 0;
    bool sent_sniffed = false;
    for (int out = 1; out <= port_count; ++out) {
        if ((targets & chip_bit(out)) == 0 || !link(out)) continue;
        if ((port_bits(out, ksz_control2) & transmit_on) == 0) {
            ++counters_[static_cast<size_t>(out)].tx_drops;
            continue;
        }
        transmit(out, frame);
        sent |= chip_bit(out);
        sent_sniffed = sent_sniffed || (port_bits(out, ksz_control1) & sniff_transmit) != 0;
    }

    const bool received_sniffed = (port_bits(port, ksz_control1) & sniff_receive) != 0;
    const bool both = (regs_[ksz_reg_global3] & sniff_and) != 0;
    const bool mirrored = both ? received_sniffed && sent_sniffed : received_sniffed || sent_sniffed;
    if (!mirrored || (regs_[reg_global2] & boundary_for_all) == 0) return;
    for (int out = 1; out <= port_count; ++out)
        if ((port_bits(out, ksz_control1) & sniff_mirror_port) != 0 && out != port &&
            (sent & chip_bit(out)) == 0 && link(out))
            transmit(out, frame);
}

}  // namespace oabr_sim
