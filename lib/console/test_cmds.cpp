#include <cstdio>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/device_cmd.h"
#include "lib/ksz.h"

namespace {

/// A node of the MDIO bus, and a register of it whose bits can be turned over for a moment without harm.
struct mdio_node {
    uint8_t address;
    const char* name;
    uint8_t identifier;  ///< first of two identifying registers
    uint8_t scratch;
    uint16_t scratch_bits;
};
constexpr mdio_node mdio_nodes[] = {
    {port_phy(port_usb), "100BaseTX PHY of port 1", 2, 4, 0x0400},  // advertises pause
    {port_phy(port_eth), "100BaseTX PHY of port 2", 2, 4, 0x0400},
    {mdio_switch, "switch", 0, 133, 0x001F},                              // port map of a rule that is off
    {port_phy(port_oabr1), "BroadR-Reach PHY of port 3", 2, 30, 0x00FF},  // address of the extended registers
    {port_phy(port_oabr2), "BroadR-Reach PHY of port 4", 2, 30, 0x00FF},
};

/// Turns the scratch bits over, reads them back and restores them.
bool write_test(const mdio_node& node) {
    uint16_t before = 0;
    uint16_t now = 0;
    if (mdio_read(node.address, node.scratch, &before) != 0) return false;
    const auto changed = static_cast<uint16_t>(before ^ node.scratch_bits);
    const bool written = mdio_write(node.address, node.scratch, changed) == 0 &&
                         mdio_read(node.address, node.scratch, &now) == 0 && now == changed;
    return mdio_write(node.address, node.scratch, before) == 0 && written &&
           mdio_read(node.address, node.scratch, &now) == 0 && now == before;
}

int test_mdio() {
    constexpr uint16_t idle_bus = 0xFFFF;
    int result = cmd_ok;
    for (const mdio_node& node : mdio_nodes) {
        uint16_t first = 0;
        uint16_t second = 0;
        const char* outcome = "ok";
        if (mdio_read(node.address, node.identifier, &first) != 0 ||
            mdio_read(node.address, static_cast<uint8_t>(node.identifier + 1), &second) != 0)
            outcome = "no answer";
        else if (first == idle_bus && second == idle_bus)
            outcome = "nobody at this address";
        else if (!write_test(node))
            outcome = "write and read back FAILED";
        std::printf("0x%02X %-27s identifier 0x%04X 0x%04X : %s\n", node.address, node.name, first, second,
                    outcome);
        if (outcome[0] != 'o') result = cmd_failed;
    }
    std::fflush(stdout);
    return result == cmd_ok ? cmd_ok : console_failure("test mdio: not every node passed");
}

}  // namespace

int process_cmd_test(char* argument) {
    const argument_words words(argument);
    if (words.size() == 1 && equals_ignoring_case(words[0], "mdio")) return test_mdio();
    return console_usage("test mdio");
}
