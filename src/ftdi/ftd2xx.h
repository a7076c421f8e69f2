#pragma once

#include <cstdint>
#include <memory>

#include "src/platform/event.h"

// FTDI's converter operations under FTDI's names and with FTDI's result codes, over whatever drivers are
// installed (see driver.h). A handle that is stale, null or was never one gives FT_INVALID_HANDLE.

namespace kovgui::ftdi {

using FT_HANDLE = void*;
using FT_STATUS = uint32_t;
using ULONG = uint32_t;
using DWORD = uint32_t;
using USHORT = uint16_t;
using UCHAR = uint8_t;

constexpr FT_STATUS FT_OK = 0;
constexpr FT_STATUS FT_INVALID_HANDLE = 1;
constexpr FT_STATUS FT_DEVICE_NOT_FOUND = 2;
constexpr FT_STATUS FT_DEVICE_NOT_OPENED = 3;  ///< in use: another process or another client holds it
constexpr FT_STATUS FT_IO_ERROR = 4;           ///< gone, or a transfer failed
constexpr FT_STATUS FT_INSUFFICIENT_RESOURCES = 5;
constexpr FT_STATUS FT_INVALID_PARAMETER = 6;
constexpr FT_STATUS FT_INVALID_BAUD_RATE = 7;
constexpr FT_STATUS FT_DEVICE_NOT_OPENED_FOR_WRITE = 9;  ///< no permission
constexpr FT_STATUS FT_OTHER_ERROR = 18;

constexpr DWORD FT_OPEN_BY_SERIAL_NUMBER = 1;
constexpr ULONG FT_FLAGS_OPENED = 1;
constexpr USHORT FT_FLOW_NONE = 0x0000;
constexpr USHORT FT_FLOW_XON_XOFF = 0x0400;
constexpr ULONG FT_PURGE_RX = 1;
constexpr ULONG FT_PURGE_TX = 2;
constexpr UCHAR FT_BITS_8 = 8;
constexpr UCHAR FT_STOP_BITS_1 = 0;
constexpr UCHAR FT_PARITY_NONE = 0;
constexpr DWORD FT_EVENT_RXCHAR = 1;
constexpr DWORD FT_EVENT_MODEM_STATUS = 2;
constexpr DWORD FT_EVENT_LINE_STATUS = 4;
constexpr UCHAR FT_BITMODE_RESET = 0x00;
constexpr UCHAR FT_BITMODE_CBUS_BITBANG = 0x20;

struct FT_DEVICE_LIST_INFO_NODE {
    ULONG Flags;  ///< bit 0: open
    ULONG Type;   ///< 5: FT232R
    ULONG ID;     ///< vendor in the high half, product in the low half
    DWORD LocId;
    char SerialNumber[16];
    char Description[64];
    FT_HANDLE ftHandle;  ///< null unless open in this process
};

FT_STATUS FT_CreateDeviceInfoList(DWORD* count);
/// The list that the last FT_CreateDeviceInfoList built. @param count  in: room in the list; out: nodes
/// written
FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* list, DWORD* count);
FT_STATUS FT_Open(int index, FT_HANDLE* handle);
FT_STATUS FT_OpenEx(const void* argument, DWORD flags, FT_HANDLE* handle);
FT_STATUS FT_Close(FT_HANDLE handle);
FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, DWORD* rx_bytes);
FT_STATUS FT_GetStatus(FT_HANDLE handle, DWORD* rx_bytes, DWORD* tx_bytes, DWORD* events);
/// Waits for `count` bytes or the read timeout, then FT_OK with what came.
FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, DWORD count, DWORD* got);
/// Returns when the bytes are queued; a full queue blocks for at most the write timeout, then FT_OK with a
/// smaller count.
FT_STATUS FT_Write(FT_HANDLE handle, const void* data, DWORD count, DWORD* written);
FT_STATUS FT_Purge(FT_HANDLE handle, ULONG mask);
FT_STATUS FT_SetUSBParameters(FT_HANDLE handle, ULONG in_size, ULONG out_size);
FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, UCHAR bits, UCHAR stop_bits, UCHAR parity);
FT_STATUS FT_SetChars(FT_HANDLE handle, UCHAR event, UCHAR event_on, UCHAR error, UCHAR error_on);
FT_STATUS FT_SetTimeouts(FT_HANDLE handle, ULONG read_ms, ULONG write_ms);
FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, UCHAR milliseconds);
/// Signals the event when one of the mask's events happens, and once when the converter is unplugged. The
/// event must live until the handle is closed or another event, or null, is set.
FT_STATUS FT_SetEventNotification(FT_HANDLE handle, DWORD mask, platform::Event* event);
FT_STATUS FT_SetBaudRate(FT_HANDLE handle, ULONG rate);
FT_STATUS FT_SetFlowControl(FT_HANDLE handle, USHORT mode, UCHAR xon, UCHAR xoff);
FT_STATUS FT_GetBitMode(FT_HANDLE handle, UCHAR* mode);
FT_STATUS FT_SetBitMode(FT_HANDLE handle, UCHAR mask, UCHAR mode);
FT_STATUS FT_ResetPort(FT_HANDLE handle);

// Beyond FTDI's operations.

/// While on, bytes that are written gather in the queue, unless it fills up; turned off, they leave together,
/// sent by this call where that needs no waiting. For whoever hands over one frame byte by byte.
FT_STATUS cork(FT_HANDLE handle, bool on);
/// For a thread that does nothing but wait for the event of FT_SetEventNotification and read: as long as the
/// result lives, that thread waits for it as well, and takes it as it takes the event. It then fills the
/// receive queue itself, which saves waking it through another thread. Such a thread must not change
/// settings.
/// @return  null where the converter's driver reads by itself alone
std::shared_ptr<platform::Waitable> readHere(FT_HANDLE handle);

}  // namespace kovgui::ftdi
