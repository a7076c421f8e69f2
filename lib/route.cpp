#include "lib/route.h"

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/rmt.h"

namespace {

comm_obj* command_reply_object(uint8_t command) {
    switch (command) {
        case msg_cmd::mdio_write:
            return &comm_mdio_write;
        case msg_cmd::mdio_read:
            return &comm_mdio_read;
        case msg_cmd::ping:
            return &comm_ping;
        case msg_cmd::smi_write:
            return &comm_smi_write;
        case msg_cmd::smi_read:
            return &comm_smi_read;
        case msg_cmd::e2p_write:
            return &comm_e2p_write;
        case msg_cmd::e2p_read:
            return &comm_e2p_read;
        case msg_cmd::can_set_speed:
        case msg_cmd::can_get_speed:
            return &can_set_speed_ctl;  // the speed read waits for a data reply
        case msg_cmd::can_set_filter_mask:
            return &can_set_filter_mask_ctl;
        case msg_cmd::can_trace_enable:
            return &can_trace_enable_ctl;
        case msg_cmd::can_trace_disable:
            return &can_trace_disable_ctl;
        case msg_cmd::can_get_mode:
            return &can_get_mode_ctl;
        case msg_cmd::can_reset:
            return &can_reset_ctl;
        case msg_cmd::can_reinit:
            return &can_reinit_ctl;
        case msg_cmd::can_get_wakeup:
            return &can_wakeup_read;
        case msg_cmd::can_set_wakeup:
            return &can_wakeup_write;
        case msg_cmd::get_eth_wakeup:
            return &comm_eth_wakeup_read;
        case msg_cmd::set_eth_wakeup:
            return &comm_eth_wakeup_write;
        case msg_cmd::can_set_lcmode:
            return &can_set_lcmode_ctl;
        default:
            return nullptr;
    }
}

comm_obj* data_reply_object(uint8_t command) {
    switch (command) {
        case msg_cmd::can_get_speed:
            return &can_get_speed_ctl;
        case msg_cmd::can_get_filter_mask:
            return &can_get_filter_mask_ctl;
        case msg_cmd::can_get_lcmode:
            return &can_get_lcmode_ctl;
        case msg_cmd::hk_status:
            return &comm_hk_status;
        case msg_cmd::fwv_read:
            return &comm_fwv_read;
        case msg_cmd::fwd_read:
            return &comm_fwd_read;
        case msg_cmd::bls_read:
            return &comm_bls_read;
        case msg_cmd::blv_read:
            return &comm_blv_read;
        default:
            return nullptr;
    }
}

comm_obj* control_reply_object(uint8_t command) {
    switch (command) {
        case msg_cmd::power_on:
        case msg_cmd::power_off:
            return &comm_pwr_ctl;
        case msg_cmd::bl_enable:
            return &comm_bl_enable;
        case msg_cmd::bl_disable:
            return &comm_bl_disable;
        case msg_cmd::wup_ctl:
            return &comm_wup_ctl;
        default:
            return nullptr;
    }
}

}  // namespace

comm_obj* reply_object(uint8_t type, uint8_t command) {
    switch (type) {
        case msg_type::reply:
            return command_reply_object(command);
        case msg_type::data_reply:
            return data_reply_object(command);
        case msg_type::control_reply:
            return control_reply_object(command);
        case msg_type::remote_reply:
            return &comm_rmt_func;
        default:
            return nullptr;
    }
}

bool route_reply(const uint8_t* frame, uint16_t length) {
    if (length < hdlc_msg_header_size) return false;
    if (process_resync(frame, length)) return comm_heard(), true;
    comm_obj* const waiting = reply_object(frame[0], frame[1]);
    if (waiting == nullptr) return false;
    comm_heard();
    process_ack(waiting, frame, length);
    return true;
}
