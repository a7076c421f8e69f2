#pragma once

// Handlers of the management console: each takes the argument text (null when there is none), prints what it
// found on standard output and what was wrong on standard error, and returns one of the results below. They
// block like the commands that they call.

constexpr int cmd_ok = 0;
constexpr int cmd_failed = -1;
constexpr int cmd_invalid = -2;

using console_handler = int (*)(char* argument);

int process_cmd_ping(char* argument);
int process_cmd_version(char* argument);
int process_cmd_date(char* argument);
int process_cmd_blversion(char* argument);
int process_cmd_blstring(char* argument);
int process_cmd_smi_reg(char* argument);
int process_cmd_mdio_reg(char* argument);
int process_cmd_power(char* argument);
int process_cmd_can_reset(char* argument);
int process_cmd_sniff(char* argument);
int process_cmd_wup(char* argument);
int process_cmd_echo(char* argument);
int process_cmd_hdlc(char* argument);
int process_cmd_can_mode(char* argument);
int process_cmd_cfg(char* argument);
int process_cmd_e2p(char* argument);
int process_cmd_mib(char* argument);
int process_cmd_mac(char* argument);
int process_cmd_ind_tab(char* argument);
int process_cmd_pvlan(char* argument);
int process_cmd_smac(char* argument);
int process_cmd_vlan(char* argument);
int process_cmd_port(char* argument);
int process_cmd_test(char* argument);
