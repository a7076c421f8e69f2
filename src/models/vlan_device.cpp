#include "src/models/vlan_device.h"

#include "lib/comm_obj.h"

namespace kovgui::oabr {
namespace {

bool readPort(int port, VlanPortSettings* settings) {
    if (ksz_pvid_get(port, &settings->pvid) == 0) return false;
    for (size_t i = 0; i < vlan_flags.size(); ++i) {
        int value = 0;
        if (vlan_flags[i].get(port, &value) == 0) return false;
        settings->flags[i] = value != 0;
    }
    return true;
}

bool readSwitchAndPorts(VlanSettings* settings) {
    int value = 0;
    if (ksz_8021q_get(&value) == 0) return false;
    settings->enabled = value != 0;
    for (size_t i = 0; i < settings->ports.size(); ++i) {
        if (!readPort(ports_as_shown[i], &settings->ports[i])) return false;
    }
    return true;
}

bool readSet(int set, VlanTable* table) {
    ksz_vlan_set_entry entry{};
    if (ksz_vlan_set_read(set, &entry) == 0) return false;
    table->setVlanSet(set, entry);
    return true;
}

void addPortSteps(int port, const VlanPortSettings& to, const VlanPortSettings& device, bool all,
                  DeviceSteps* steps) {
    if (all || to.pvid != device.pvid)
        steps->push_back([port, pvid = to.pvid] { return ksz_pvid_set(port, pvid) != 0; });
    for (size_t i = 0; i < vlan_flags.size(); ++i) {
        if (all || to.flags[i] != device.flags[i])
            steps->push_back(
                [port, i, on = to.flags[i]] { return vlan_flags[i].set(port, on ? 1 : 0) != 0; });
    }
}

SettingAccess portVlan(int port) {
    return {[port](int* ports) {
                uint8_t read = 0;
                const bool done = ksz_pvlan_get(port, &read) != 0;
                *ports = read;
                return done;
            },
            [port](int ports) { (void)ksz_pvlan_set(port, static_cast<uint8_t>(ports)); }};
}

}  // namespace

DeviceSteps vlanStepsFromDevice(VlanSettings* settings) {
    DeviceSteps steps = {[settings] { return readSwitchAndPorts(settings); }};
    for (int set = 0; set < ksz_vlan_sets; ++set)
        steps.push_back([set, settings] { return readSet(set, &settings->table); });
    return steps;
}

DeviceSteps vlanStepsToDevice(const VlanSettings& to, const VlanSettings& device, Send what) {
    const bool all = what == Send::everything;
    DeviceSteps steps;
    const auto addEnable = [&] {
        if (all || to.enabled != device.enabled)
            steps.push_back([on = to.enabled] { return ksz_8021q_set(on ? 1 : 0) != 0; });
    };
    if (!to.enabled) addEnable();
    for (int set = 0; set < ksz_vlan_sets; ++set) {
        const ksz_vlan_set_entry& entry = to.table.vlanSet(set);
        if (all || entry != device.table.vlanSet(set))
            steps.push_back([set, entry] { return ksz_vlan_set_write(set, entry) != 0; });
    }
    for (size_t i = 0; i < to.ports.size(); ++i)
        addPortSteps(ports_as_shown[i], to.ports[i], device.ports[i], all, &steps);
    if (to.enabled) addEnable();
    return steps;
}

bool readPortVlansFromDevice(PortVlans* vlans) {
    const comm_run run;
    for (const device_port& port : device_ports) {
        if (ksz_pvlan_get(port.number, &(*vlans)[port_index(port.number)]) == 0) return false;
    }
    return true;
}

Written::Taken writePortVlansToDevice(const PortVlans& vlans, PortVlans* device, Send what) {
    auto taken = Written::Taken::yes;
    for (const device_port& port : device_ports) {
        const uint8_t wanted = vlans[port_index(port.number)];
        uint8_t& held = (*device)[port_index(port.number)];
        if (what == Send::changes && wanted == held) continue;
        const Written written = writeVerified(portVlan(port.number), wanted, held);
        if (written.held) held = static_cast<uint8_t>(*written.held);
        if (written.taken != Written::Taken::yes) taken = written.taken;
        if (taken == Written::Taken::unknown) break;
    }
    return taken;
}

}  // namespace kovgui::oabr
