#include "src/cli/interpreter.h"

namespace kovgui::cli {

// As people know it, misspellings included.
const char* const help_text =
    R"HELP(OABR Korvex Management Console

The OABR Korvex has 4 ports:
port 1 : USB-Ethernet
port 2 : 100BaseTX (RJ45)
port 3 : BroadR-Reach 1
port 4 : BroadR-Reach 2

Options & Commands:
help : prints this help screen
sniff <port> [rx|tx|rxtx|mirror] : enables RX or TX sniffing or both on a port or makes a port the mirror port
reset : performs a hard reset on the OABR Korvex
creset : performs a hard reset on the CAN Hardware
mreg <phy address><register address>[=<register value>] : reads or writes an MDIO register of the integrated PHYs
   0x02 : 100BaseTX PHY of port 1
   0x03 : 100BaseTX PHY of port 2
   0x18 : BroadR-Reach PHY on port 3
   0x19 : BroadR-Reach PHY on port4
   mreg 0x1801 reads register 0x01 on PHY 0x18
   mreg 0x1800=0x0208 writes 0x0208 into register 0x00 of PHY 0x18
sreg <switch register address>[=<register value>] : reads or writes a register of the integrated switch using SMI protocol
   Using SMI all switch registers may be accessed
power <on|off> : turns the Ethernet part on or off
cbus <pin number>[=<H|L>] : sets or gets the level of one of the 4 CBUS pins of the USB serial converter
   CBUS0 : uC reset
   CBUS1 : indicates that a controlling terminal is attached
   CBUS2 : not used
   CBUS3 : not used
mib [<port>] : prints the MIB counters of either all ports or of the specified port
wup <trigger|on|off|get> : set or get Ethernet-Wakeup-Line
version : prints the firmware version
ping : tests the serial connection
cfg <read|write> : read active E2P config or write default E2P config
e2p <read=<addr>,<length> | write=<v1,v2,...,vn> | clear=<addr>,<length>> : read, write, or clear raw E2P content
hdlc <hex data>: sends the data as hdlc frame to the device
canmode <mode>: 0=NORMAL, 0x20=SLEEP, 0x40=LOOPBACK,0x60=LISTENONLY, 0x80=CONFIG,0xE0=POWERUP
pvlan [<port> [<membership>]]: set or get port based VLAN configuration
   pvlan : list port based VLAN membership for all ports
   pvlan 3 : list port based VLAN membership for port 3
   pvlan 4 1001 : assign port based VLAN membership for port 4
      port 4 is now in an PVLAN with port 1 and can send to/receive from port 1
      for setting up bidirectional communication between port 4 and port 1, assign port 4 to the membership of of port 1 using "pvlan 1 1001"
tab <smac|vlan|dmac|mib> [<entry number>[-<end entry number>] [<entry data_0>..<entry_data_n>]]: set or get entries of indirectly addressable tables
   tab smac : lists all 32 entries of the Static MAC Table
   tab dmac 3 : lists the fourth entry of the Dynamic MAC table
   tab vlan 4-7 : lists the fith to eighth entry of the VLAN table (one entry comprises 4 VLANs, each has 13 bits)
   tab mib 25-36 : lists the 26th to 37th entry of the MIB Counter table
   tab smac 4 1 2 3 4 5 6 7 0 : sets the 4th entry of the Static MAC Table to 1 2 3 4 5 6 7 0
smac [<entry number>[-<end entry number>] [<fid> <use_fid> <st_override> <valid> <forward ports> <mac address>] : get/set Static MAC Table entry
   smac : lists all 32 Static MAC Table entries
   smac 1 : lists the second Static MAC Table entry
   smac 7-10 : lists the 8th to 11th Static MAC Table entry
   smac 5 0x0A yes no yes 1001 80:01:02:03:04 : sets the 6th Static MAC Table entry
vlan [<vid>[-<end vid>] [<fid> <valid> <forward ports>] : get/set VLAN entry
   vlan : lists all 4096 VLANs
   vlan 1 : lists the VLAN with VID 1
   vlan 7-10 : lists VLANs from VID 7 to VID 10
   vlan 5 77 yes 1001 : sets the VLAN entry for VID 5 - FID=77, valid, ports 1 and 4
test <test cmd> : run a test sequnece
   test mdio : perform mdio resd/write tests with all mdio nodes
)HELP";

}  // namespace kovgui::cli
