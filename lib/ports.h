#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The device's four Ethernet ports; nothing else lists them. A port is known by its number, a set of ports is
// a mask of their bits. The switch chip's own masks are shifted up by one, see ksz.h.

constexpr int port_usb = 1;    ///< to the computer
constexpr int port_eth = 2;    ///< RJ45
constexpr int port_oabr1 = 3;  ///< BroadR-Reach
constexpr int port_oabr2 = 4;

struct device_port {
    int number;
    const char* name;
    uint8_t phy;  ///< MDIO address of its PHY
};

/// By number, from 1.
constexpr std::array<device_port, 4> device_ports = {{
    {port_usb, "USB", 0x02},
    {port_eth, "100BaseTX", 0x03},
    {port_oabr1, "OABR1", 0x18},
    {port_oabr2, "OABR2", 0x19},
}};
constexpr int port_count = static_cast<int>(device_ports.size());

/// In the order in which rows and columns show them.
constexpr std::array<int, port_count> ports_as_shown = {port_oabr1, port_oabr2, port_eth, port_usb};

constexpr bool is_port(int port) {
    return port >= 1 && port <= port_count;
}

// Of a port that is one:

/// Its place in what is kept by number.
constexpr size_t port_index(int port) {
    return static_cast<size_t>(port - 1);
}
constexpr uint8_t port_bit(int port) {
    return static_cast<uint8_t>(1U << port_index(port));
}
constexpr const char* port_name(int port) {
    return device_ports[port_index(port)].name;
}
constexpr uint8_t port_phy(int port) {
    return device_ports[port_index(port)].phy;
}

constexpr uint8_t all_ports = 0x0F;
constexpr bool holds_port(uint8_t mask, int port) {
    return (mask & port_bit(port)) != 0;
}

/// @return the port of that very name; null when there is none
constexpr const device_port* find_port(std::string_view name) {
    for (const device_port& port : device_ports)
        if (name == port.name) return &port;
    return nullptr;
}
