#include "src/models/sniffing.h"

#include "lib/comm_obj.h"
#include "lib/port_config.h"

namespace kovgui {
bool getSniffing(int* value) {
    for (int each = sniff_on_oabr1; each <= sniff_on_usb; ++each) {
        int flag = sniff_none;
        if (port_sniff_get(portOfSniffPort(each), &flag) && flag == sniff_sniffer_port) *value = each;
    }
    return true;
}

bool setSniffing(int value) {
    if (value == sniff_on_none) {
        for (const device_port& port : device_ports)
            port_sniff_set(port.number, sniff_none);
    } else if (namesPort(value)) {
        port_sniff_set(portOfSniffPort(value), sniff_sniffer_port);
    }
    return true;
}

e2p_cfg_cmd_array* storeSniffing(int value) {
    return namesPort(value) ? port_sniff_store(portOfSniffPort(value), sniff_sniffer_port) : nullptr;
}

void writeSniffingToDevice(int sniff_port, const std::array<int, port_count>& modes) {
    const comm_run run;
    for (const int port : {sniff_on_oabr2, sniff_on_oabr1, sniff_on_100basetx})
        port_sniff_set(portOfSniffPort(port), port == sniff_port
                                                  ? static_cast<int>(sniff_sniffer_port)
                                                  : modes[static_cast<size_t>(port - sniff_on_oabr1)]);
}

}  // namespace kovgui
