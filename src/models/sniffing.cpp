#include "src/models/sniffing.h"

#include "lib/port_config.h"

namespace kovgui {
namespace {

struct PortFunctions {
    int value;
    int (*get)(int*);
    int (*set)(int);
    e2p_cfg_cmd_array* (*store)(int);
};

/// In the order in which the flags are read: a later one outranks an earlier one.
constexpr PortFunctions ports[] = {
    {sniff_on_oabr1, OABR2_sniff_get, OABR2_sniff_set, OABR2_sniff_store},
    {sniff_on_oabr2, OABR1_sniff_get, OABR1_sniff_set, OABR1_sniff_store},
    {sniff_on_100basetx, ETH_sniff_get, ETH_sniff_set, ETH_sniff_store},
    {sniff_on_usb, USB_sniff_get, USB_sniff_set, USB_sniff_store},
};

}  // namespace

bool getSniffing(int* value) {
    for (const PortFunctions& port : ports) {
        int flag = sniff_none;
        if (port.get(&flag) && flag == sniff_sniffer_port) *value = port.value;
    }
    return true;
}

bool setSniffing(int value) {
    if (value == sniff_on_none) {
        for (const auto clear : {OABR1_sniff_set, OABR2_sniff_set, ETH_sniff_set, USB_sniff_set})
            clear(sniff_none);
        return true;
    }
    for (const PortFunctions& port : ports) {
        if (port.value == value) port.set(sniff_sniffer_port);
    }
    return true;
}

e2p_cfg_cmd_array* storeSniffing(int value) {
    for (const PortFunctions& port : ports) {
        if (port.value == value) return port.store(sniff_sniffer_port);
    }
    return nullptr;
}

}  // namespace kovgui
