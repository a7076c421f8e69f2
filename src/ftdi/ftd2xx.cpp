#include "src/ftdi/ftd2xx.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

namespace {

struct OpenPort {
    std::shared_ptr<Port> port;
    std::string serial;
};

/// The open handles, and the list of the last FT_CreateDeviceInfoList. Lives as long as the process.
struct Table {
    std::mutex mutex;
    std::unordered_map<FT_HANDLE, OpenPort> ports;
    uintptr_t last_handle = 0;  // a handle is a number that is never used again
    std::vector<FT_DEVICE_LIST_INFO_NODE> list;
};

Table& table() {
    static Table* const one = new Table;
    return *one;
}

std::shared_ptr<Port> find(FT_HANDLE handle) {
    std::lock_guard lock(table().mutex);
    const auto found = table().ports.find(handle);
    return found == table().ports.end() ? nullptr : found->second.port;
}

/// Calls one function of the port behind a handle.
template <class... Parameters, class... Arguments>
FT_STATUS call(FT_HANDLE handle, FT_STATUS (Port::*function)(Parameters...), Arguments... arguments) {
    const auto port = find(handle);
    return port ? (port.get()->*function)(arguments...) : FT_INVALID_HANDLE;
}

/// Drivers throw only when the system has no descriptor, thread or memory left to give.
template <class Function>
FT_STATUS guarded(Function function) {
    try {
        return function();
    } catch (const std::exception&) {
        return FT_INSUFFICIENT_RESOURCES;
    }
}

FT_STATUS enumerate(std::vector<DeviceNode>* nodes) {
    return guarded([nodes] {
        *nodes = driver()->enumerate();
        return FT_OK;
    });
}

FT_STATUS open(const std::string& serial, FT_HANDLE* handle) {
    std::unique_ptr<Port> port;
    if (const FT_STATUS failed = guarded([&] { return driver()->open(serial, &port); })) return failed;
    std::lock_guard lock(table().mutex);
    *handle = reinterpret_cast<FT_HANDLE>(++table().last_handle);
    table().ports[*handle] = {std::move(port), serial};
    return FT_OK;
}

template <size_t Size>
void copyText(char (&to)[Size], const std::string& from) {
    to[from.copy(to, Size - 1)] = '\0';
}

/// The lock of the table is held.
FT_DEVICE_LIST_INFO_NODE listed(const DeviceNode& node) {
    FT_DEVICE_LIST_INFO_NODE out{};
    out.Flags = node.open ? FT_FLAGS_OPENED : 0;
    out.Type = node.type;
    out.ID = node.id;
    out.LocId = node.location;
    copyText(out.SerialNumber, node.serial);
    copyText(out.Description, node.description);
    for (const auto& [handle, open] : table().ports) {
        if (open.serial != node.serial) continue;
        out.Flags |= FT_FLAGS_OPENED;
        out.ftHandle = handle;
    }
    return out;
}

}  // namespace

FT_STATUS FT_CreateDeviceInfoList(DWORD* count) {
    if (!count) return FT_INVALID_PARAMETER;
    std::vector<DeviceNode> nodes;
    if (const FT_STATUS failed = enumerate(&nodes)) return failed;
    std::lock_guard lock(table().mutex);
    table().list.clear();
    for (const DeviceNode& node : nodes)
        table().list.push_back(listed(node));
    *count = static_cast<DWORD>(nodes.size());
    return FT_OK;
}

FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* list, DWORD* count) {
    if (!list || !count) return FT_INVALID_PARAMETER;
    std::lock_guard lock(table().mutex);
    *count = std::min(*count, static_cast<DWORD>(table().list.size()));
    std::copy_n(table().list.begin(), *count, list);
    return FT_OK;
}

FT_STATUS FT_Open(int index, FT_HANDLE* handle) {
    if (!handle) return FT_INVALID_PARAMETER;
    std::vector<DeviceNode> nodes;
    if (const FT_STATUS failed = enumerate(&nodes)) return failed;
    if (index < 0 || static_cast<size_t>(index) >= nodes.size()) return FT_DEVICE_NOT_FOUND;
    return open(nodes[static_cast<size_t>(index)].serial, handle);
}

FT_STATUS FT_OpenEx(const void* argument, DWORD flags, FT_HANDLE* handle) {
    if (!argument || !handle || flags != FT_OPEN_BY_SERIAL_NUMBER) return FT_INVALID_PARAMETER;
    return open(static_cast<const char*>(argument), handle);
}

FT_STATUS FT_Close(FT_HANDLE handle) {
    std::shared_ptr<Port> port;
    {
        std::lock_guard lock(table().mutex);
        const auto found = table().ports.find(handle);
        if (found == table().ports.end()) return FT_INVALID_HANDLE;
        port = std::move(found->second.port);
        table().ports.erase(found);
    }
    port->close();
    return FT_OK;
}

FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, DWORD* rx_bytes) {
    return rx_bytes ? call(handle, &Port::queueStatus, rx_bytes) : FT_INVALID_PARAMETER;
}

FT_STATUS FT_GetStatus(FT_HANDLE handle, DWORD* rx_bytes, DWORD* tx_bytes, DWORD* events) {
    if (!rx_bytes || !tx_bytes || !events) return FT_INVALID_PARAMETER;
    return call(handle, &Port::status, rx_bytes, tx_bytes, events);
}

FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, DWORD count, DWORD* got) {
    if (!got || (!buffer && count > 0)) return FT_INVALID_PARAMETER;
    return call(handle, &Port::read, static_cast<uint8_t*>(buffer), count, got);
}

FT_STATUS FT_Write(FT_HANDLE handle, const void* data, DWORD count, DWORD* written) {
    if (!written || (!data && count > 0)) return FT_INVALID_PARAMETER;
    return call(handle, &Port::write, static_cast<const uint8_t*>(data), count, written);
}

FT_STATUS cork(FT_HANDLE handle, bool on) {
    return call(handle, &Port::cork, on);
}

std::shared_ptr<platform::Waitable> readHere(FT_HANDLE handle) {
    struct Reading {
        std::shared_ptr<Port> port;
        std::unique_ptr<platform::Waitable> waitable;
    };
    const auto reading = std::make_shared<Reading>(Reading{find(handle), nullptr});
    if (reading->port) reading->waitable = reading->port->readHere();
    return {reading, reading->waitable.get()};
}

FT_STATUS FT_Purge(FT_HANDLE handle, ULONG mask) {
    return call(handle, &Port::purge, mask);
}

FT_STATUS FT_SetUSBParameters(FT_HANDLE handle, ULONG in_size, ULONG out_size) {
    return call(handle, &Port::setUsbParameters, in_size, out_size);
}

FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, UCHAR bits, UCHAR stop_bits, UCHAR parity) {
    return call(handle, &Port::setDataCharacteristics, bits, stop_bits, parity);
}

FT_STATUS FT_SetChars(FT_HANDLE handle, UCHAR event, UCHAR event_on, UCHAR error, UCHAR error_on) {
    return call(handle, &Port::setChars, event, event_on != 0, error, error_on != 0);
}

FT_STATUS FT_SetTimeouts(FT_HANDLE handle, ULONG read_ms, ULONG write_ms) {
    return call(handle, &Port::setTimeouts, read_ms, write_ms);
}

FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, UCHAR milliseconds) {
    return call(handle, &Port::setLatencyTimer, milliseconds);
}

FT_STATUS FT_SetEventNotification(FT_HANDLE handle, DWORD mask, platform::Event* event) {
    return call(handle, &Port::setEventNotification, mask, event);
}

FT_STATUS FT_SetBaudRate(FT_HANDLE handle, ULONG rate) {
    return call(handle, &Port::setBaudRate, rate);
}

FT_STATUS FT_SetFlowControl(FT_HANDLE handle, USHORT mode, UCHAR xon, UCHAR xoff) {
    return call(handle, &Port::setFlowControl, mode, xon, xoff);
}

FT_STATUS FT_GetBitMode(FT_HANDLE handle, UCHAR* mode) {
    return mode ? call(handle, &Port::getBitMode, mode) : FT_INVALID_PARAMETER;
}

FT_STATUS FT_SetBitMode(FT_HANDLE handle, UCHAR mask, UCHAR mode) {
    return call(handle, &Port::setBitMode, mask, mode);
}

FT_STATUS FT_ResetPort(FT_HANDLE handle) {
    return call(handle, &Port::resetPort);
}

}  // namespace kovgui::ftdi
