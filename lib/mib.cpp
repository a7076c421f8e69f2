#include <cstdio>

#include "lib/ksz.h"
#include "lib/rmt.h"

constexpr mib_counter_table mib_counters{{
    {0, 0x00, 0, "RxLoPriorityByte"},
    {0, 0x01, 0, "RxHiPriorityByte"},
    {0, 0x02, 0, "RxUndersizePkt"},
    {0, 0x03, 0, "RxFragments"},
    {0, 0x04, 0, "RxOversize"},
    {0, 0x05, 0, "RxJabbers"},
    {0, 0x06, 0, "RxSymbolError"},
    {0, 0x07, 0, "RxCRCerror"},
    {0, 0x08, 0, "RxAlignmentError"},
    {0, 0x09, 0, "RxControl8808Pkts"},
    {0, 0x0A, 0, "RxPausePkts"},
    {0, 0x0B, 0, "RxBroadcast"},
    {0, 0x0C, 0, "RxMulticast"},
    {0, 0x0D, 0, "RxUnicast"},
    {0, 0x0E, 0, "Rx64Octets"},
    {0, 0x0F, 0, "Rx65to127Octets"},
    {0, 0x10, 0, "Rx128to255Octets"},
    {0, 0x11, 0, "Rx256to511Octets"},
    {0, 0x12, 0, "Rx512to1023Octets"},
    {0, 0x13, 0, "Rx1024to1522Octets"},
    {0, 0x14, 0, "TxLoPriorityByte"},
    {0, 0x15, 0, "TxHiPriorityByte"},
    {0, 0x16, 0, "TxLateCollision"},
    {0, 0x17, 0, "TxPausePkts"},
    {0, 0x18, 0, "TxBroadcastPkts"},
    {0, 0x19, 0, "TxMulticastPkts"},
    {0, 0x1A, 0, "TxUnicastPkts"},
    {0, 0x1B, 0, "TxDeferred"},
    {0, 0x1C, 0, "TxTotalCollision"},
    {0, 0x1D, 0, "TxExcessiveCollision"},
    {0, 0x1E, 0, "TxSingleCollision"},
    {0, 0x1F, 0, "TxMultipleCollision"},
    {0, 0x00, 1, "TxDropPackets"},
    {0, 0x05, 1, "RxDropPackets"},
    {0, 0, 0, nullptr},
}};

constinit mib_counter_table mib_counters_usb = mib_counters;
constinit mib_counter_table mib_counters_100btx = mib_counters;
constinit mib_counter_table mib_counters_oabr1 = mib_counters;
constinit mib_counter_table mib_counters_oabr2 = mib_counters;

mib_counter* mib_counters_of(int port) {
    mib_counter_table* const tables[] = {&mib_counters_usb, &mib_counters_100btx, &mib_counters_oabr1,
                                         &mib_counters_oabr2};
    return is_port(port) ? tables[port_index(port)]->data() : nullptr;
}

void mib_counter_text(uint32_t raw, char* text) {
    if (raw & mib_overrun)
        snprintf(text, mib_counter_text_size, "overrun");
    else if (raw & mib_valid)
        snprintf(text, mib_counter_text_size, "%i", static_cast<int>(raw & mib_count_mask));
    else
        snprintf(text, mib_counter_text_size, "invalid");
}

int mib_counter_read(int port, mib_counter* counter) {
    constexpr int group_shift = 5;
    counter->raw = 0;
    const auto index = static_cast<uint8_t>(counter->group << group_shift | counter->index);
    return rmt_mib_tab_entry_read({static_cast<uint16_t>(port), index}, &counter->raw);
}

void mib_counter_refresh(int port, mib_counter* table) {
    for (mib_counter* counter = table; counter->name; ++counter)
        (void)mib_counter_read(port, counter);
}
