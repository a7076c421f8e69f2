#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "lib/ksz.h"

namespace oabr_sim {

using mac_address = std::array<uint8_t, 6>;  ///< least significant byte first

/// A frame that comes in at a port, as far as the switch looks at it.
struct traffic_frame {
    mac_address destination;
    mac_address source;
    uint16_t length;              ///< bytes with the FCS
    std::optional<uint16_t> vid;  ///< of an 802.1Q tag
};

/// Four-port switch chip: 256 registers of eight bits with their side effects, the indirect tables behind
/// registers 110 to 120, and what frames do to tables and counters.
class switch_chip {
public:
    switch_chip();

    /// Power-on or hardware reset: registers and tables go back to their defaults.
    void reset();

    uint8_t read(uint8_t reg);
    void write(uint8_t reg, uint8_t value);

    /// Reads an entry as registers 110 to 120 would give it. Reading a port counter clears it.
    ksz_entry_data read_entry(ksz_table which, uint16_t entry);
    /// Writes an entry in its write layout; dynamic MAC and MIB entries cannot be written.
    /// @return false when the table or entry does not exist or is read only
    bool write_entry(ksz_table which, uint16_t entry, const ksz_entry_data& data);

    /// The counter of a port: index 0x00..0x1F, 0x20 transmit drops, 0x25 receive drops. Drops come with the
    /// valid bit, which the firmware adds.
    uint32_t read_counter(int port, uint8_t index);

    /// A frame arrives: it is counted, learned, forwarded, mirrored or dropped.
    void receive_frame(int port, const traffic_frame& frame);
    /// Lets learned entries get older: they go after about five minutes, with fast aging after less than a
    /// second.
    void age(std::chrono::milliseconds elapsed);

    /// Whether a port has a link. The two ports with a PHY of the chip's own see to it themselves.
    bool link(int port) const;
    /// The outer PHY of a port says whether it has a link.
    void set_link(int port, bool up) { outer_link_[static_cast<size_t>(port)] = up; }

    /// Faults, once each.
    void next_dynamic_not_ready() { dynamic_not_ready_ = true; }
    void next_counter_not_valid() { counter_not_valid_ = true; }

private:
    struct dynamic_entry {
        mac_address mac;
        uint8_t port;
        uint8_t fid;
        uint8_t age;
    };
    struct port_counters {
        std::array<uint32_t, 0x20> count{};
        std::array<bool, 0x20> overflow{};
        uint16_t tx_drops = 0;
        uint16_t rx_drops = 0;
    };

    struct phy_result;
    phy_result negotiate(int port) const;
    uint8_t read_live_status(int port, int offset) const;
    void write_global_2(uint8_t value);
    void start_transfer();
    ksz_entry_data dynamic_data(uint16_t entry);
    uint32_t take_mib(uint16_t entry);
    void count(int port, uint8_t index, uint32_t amount = 1);
    void count_received(int port, const traffic_frame& frame);
    void transmit(int port, const traffic_frame& frame);
    void learn(int port, uint8_t fid, const mac_address& mac);
    uint8_t targets_of(int port, uint8_t fid, uint8_t vlan_members, const mac_address& destination) const;
    uint8_t port_bits(int port, int offset) const;

    std::array<uint8_t, 256> regs_{};
    std::array<uint64_t, ksz_smac_entries> static_mac_{};  ///< write layout
    std::array<uint64_t, ksz_vlan_sets> vlan_{};
    std::vector<dynamic_entry> dynamic_;
    std::chrono::milliseconds since_aging_{};
    std::array<port_counters, port_count + 1> counters_;
    std::array<bool, port_count + 1> outer_link_{};
    bool dynamic_not_ready_ = false;
    bool counter_not_valid_ = false;
};

}  // namespace oabr_sim
