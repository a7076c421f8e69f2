#pragma once

#include <array>

#include "lib/e2p.h"
#include "lib/ports.h"

namespace kovgui {

/// The library's port behind what the sniffing page and the counter page call a port: they cross the two
/// BroadR-Reach ports.
constexpr int crossed_port(int port) {
    return port == port_oabr1 ? port_oabr2 : port == port_oabr2 ? port_oabr1 : port;
}

/// The port that mirrored traffic is forwarded to, as the sniffing page counts them: by its place in
/// ports_as_shown.
enum SniffPort : int {
    sniff_on_none = 0,
    sniff_on_oabr1 = 1,
    sniff_on_oabr2 = 2,
    sniff_on_100basetx = 3,
    sniff_on_usb = 4,
};
constexpr bool namesPort(int sniff_port) {
    return sniff_port >= sniff_on_oabr1 && sniff_port <= sniff_on_usb;
}
/// The library's port for such a value; 0 for none.
constexpr int portOfSniffPort(int sniff_port) {
    return namesPort(sniff_port)
               ? crossed_port(ports_as_shown[static_cast<size_t>(sniff_port - sniff_on_oabr1)])
               : 0;
}

/// Reads which port it is: of several the one with the highest number. Where there is none the value is left
/// as it is.
bool getSniffing(int* value);
/// Makes it that port; sniff_on_none takes the flags of all four.
bool setSniffing(int value);
/// The records for it; null for sniff_on_none and for a value that is none of these.
e2p_cfg_cmd_array* storeSniffing(int value);

/// Whether what a port passes can be mirrored to the sniff port: not onto itself, and not to none.
constexpr bool canMirror(int sniff_port, int port) {
    return sniff_port != sniff_on_none && sniff_port != port;
}

/// Writes the BroadR-Reach ports' and the 100BaseTX port's part of the mirroring once more, for a mode that
/// was written before the sniff port may have been taken by it.
/// @param modes  sniff_value of each port, by SniffPort - 1
void writeSniffingToDevice(int sniff_port, const std::array<int, port_count>& modes);

}  // namespace kovgui
