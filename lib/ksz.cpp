#include "lib/ksz.h"

#include "lib/device_cmd.h"

namespace {

constexpr int first_port = 1;
constexpr int last_port = 4;

constexpr bool is_port(int port) {
    return port >= first_port && port <= last_port;
}

/// Port control 1: mirroring in bits 7..5, membership in the rest.
constexpr uint8_t reg_control1(int port) {
    return static_cast<uint8_t>(16 * port + 17);
}
constexpr uint16_t sniff_mask = sniff_mirror_port | sniff_receive | sniff_transmit;

}  // namespace

int ksz_set_sniff(int port, uint8_t bits) {
    if (!is_port(port)) return 0;
    uint16_t value = 0;
    if (mdio_read(mdio_switch, reg_control1(port), &value) != 0) return 0;
    value = static_cast<uint16_t>((value & ~sniff_mask & 0xFF) | (bits & sniff_mask));
    return mdio_write(mdio_switch, reg_control1(port), value) == 0;
}

int ksz_get_sniff(int port, uint8_t* bits) {
    if (!is_port(port)) return 0;
    uint16_t value = 0;
    if (mdio_read(mdio_switch, reg_control1(port), &value) != 0) return 0;
    *bits = static_cast<uint8_t>(value & sniff_mask);
    return 1;
}
