#pragma once

#include <cstdint>

#include "lib/comm_obj.h"

// The device's basic commands: one request each. All block for at most the request's timeout of one second
// and must not be called on the receiver thread. Unless stated they return 0, or what send_req returned, and
// leave their outputs untouched when they fail.

/// Measures the round trip.
/// @param out  microseconds from sending to the reply
[[nodiscard]] int ping(uint32_t* out);

/// A comm_resync: sends a ping with a number of its own. Several threads can be at it at the same time.
[[nodiscard]] int resync_by_ping(uint64_t seconds);
/// Sends such a ping and waits for nothing: whether the device answers shows in comm_silent.
void probe_by_ping();
/// Takes the answer to such a ping, on the receiver thread. @return false when the frame is something else
bool process_resync(const uint8_t* frame, uint16_t length);

/// @param out  four bytes in wire order, "Firmware %d.%d.%d.%d"
[[nodiscard]] int fwv_read(uint8_t* out);
/// @param out  four bytes: day, month, year of the century, century (the reverse of the wire)
[[nodiscard]] int fwd_read(uint8_t* out);
/// @param out  four bytes, the reverse of the wire: shown "%d%c%d%c" from byte 3 down to byte 0
[[nodiscard]] int blv_read(uint8_t* out);
/// @param out  at least 30 characters; not terminated when all 30 are used
[[nodiscard]] int bls_read(char* out);

/// Switches the Ethernet part.
/// @param mode  0 on, 1 off; any other value returns -1 without sending
[[nodiscard]] int pwr_ctl(int mode);

/// Says whether the next start enters the bootloader.
[[nodiscard]] int bl_enable(int on);

/// Values of wup_ctl.
constexpr uint8_t wup_on = 0;
constexpr uint8_t wup_off = 1;
constexpr uint8_t wup_trigger = 2;
constexpr uint8_t wup_get = 3;
/// Answer to wup_get: the line is at ground; any other answer means battery voltage.
constexpr int wup_ground = 1;

/// Controls the Ethernet wake-up line.
/// @return -1 on failure, else the first payload byte of the reply
[[nodiscard]] int wup_ctl(uint8_t value);
/// Pulses the wake-up line without waiting for an answer. Always 0.
int trigger_wup();

[[nodiscard]] int hk_status(uint32_t* out);

[[nodiscard]] int set_eth_wakeup(uint32_t first, uint32_t second);
void get_eth_wakeup(uint32_t* first, uint32_t* second);

/// MDIO addresses are those of ports.h, and mdio_switch of ksz.h.
[[nodiscard]] int mdio_read(uint8_t phy, uint8_t reg, uint16_t* out);
[[nodiscard]] int mdio_write(uint8_t phy, uint8_t reg, uint16_t value);
[[nodiscard]] int smi_read(uint8_t reg, uint8_t* out);
[[nodiscard]] int smi_write(uint8_t reg, uint8_t value);

/// Sends a text to the device's debug output; no answer is awaited.
void hdlc_dbg_send_rq(const char* text);
/// Sends a ping with the present UTC time in seconds (eight bytes); the answer is not awaited here.
void hdlc_ping_send_rq();

// The objects, for the dispatch of replies.
extern comm_obj comm_ping, comm_fwv_read, comm_fwd_read, comm_blv_read, comm_bls_read, comm_pwr_ctl,
    comm_bl_enable, comm_bl_disable, comm_wup_ctl, comm_hk_status, comm_eth_wakeup_read,
    comm_eth_wakeup_write, comm_mdio_read, comm_mdio_write, comm_smi_read, comm_smi_write;
