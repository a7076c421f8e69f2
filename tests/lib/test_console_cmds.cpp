// The console's EEPROM, configuration, table, port and test commands against the simulated firmware.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "lib/console_cmd.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/ksz.h"
#include "tests/support/linked_firmware.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

struct Outcome {
    int result;
    std::string out;
    std::string err;
};

class ConsoleCommands : public testing::Test {
protected:
    static Outcome run(console_handler handler, const char* argument) {
        std::string text = argument ? argument : "";
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Outcome outcome;
        outcome.result = handler(argument ? text.data() : nullptr);
        fflush(stdout);
        outcome.out = testing::internal::GetCapturedStdout();
        outcome.err = testing::internal::GetCapturedStderr();
        return outcome;
    }

    LinkedFirmware device;
};

TEST_F(ConsoleCommands, WrongArgumentsGetALineAndSendNothing) {
    const std::pair<console_handler, std::vector<const char*>> lines[] = {
        {process_cmd_e2p,
         {nullptr, "=", "read", "read=", "read=0x200", "read=0x200,1,2", "read=0x200,0", "read=0xFFFF,2",
          "read=0x10000,1", "write=0x200", "write=0x200,256", "write=0x200,1,,", "clear=0,0x10000",
          "erase=0,1"}},
        {process_cmd_cfg, {nullptr, "read it"}},
        {process_cmd_mib, {"0", "5", "1 2"}},
        {process_cmd_mac, {"lost"}},
        {process_cmd_ind_tab,
         {nullptr, "fdb", "smac 32", "smac 3-2", "smac 3-", "smac 3-4 1 2", "smac 3 1 2 3 4 5 6 7 8 9 10",
          "smac 3 0x100", "dmac 3 1"}},
        {process_cmd_pvlan, {"0", "4 101", "4 1021", "4 1001 1"}},
        {process_cmd_smac,
         {"5 1", "5 128 yes no yes 1001 80:01:02:03:04:05", "5 0x0A yes maybe yes 1001 80:01:02:03:04:05",
          "5 0x0A yes no yes 1001 80:01:02:03:04", "5 0x0A yes no yes 1001 80:01:02:03:04:05:06",
          "5 0x0A yes no yes 1001 80:01:02:03:04:0g", "5-6 0x0A yes no yes 1001 80:01:02:03:04:05"}},
        {process_cmd_vlan, {"4096", "5 128 yes 1001", "5 77 yes"}},
        {process_cmd_port, {"5", "1 speed", "1 speed=1000", "3 role=master"}},
        {process_cmd_test, {nullptr, "smi"}},
    };
    for (const auto& [handler, arguments] : lines)
        for (const char* argument : arguments) {
            SCOPED_TRACE(argument ? argument : "(no argument)");
            const Outcome outcome = run(handler, argument);
            EXPECT_EQ(outcome.result, cmd_invalid);
            EXPECT_FALSE(outcome.err.empty());
        }
    EXPECT_TRUE(device.requests().empty());
}

TEST_F(ConsoleCommands, WritesReadsAndClearsTheEeprom) {
    std::string write = "write=0x300";
    for (int i = 0; i < 60; ++i)
        write += "," + std::to_string(i);
    EXPECT_EQ(run(process_cmd_e2p, write.c_str()).result, cmd_ok);
    EXPECT_EQ(device.eeprom[0x300 + 59], 59);
    EXPECT_EQ(device.requests().size(), 2u) << "57 bytes at most in a request";
    EXPECT_EQ(run(process_cmd_e2p, "read=0x338,6").out, "330: .. .. .. .. .. .. .. .. 38 39 3A 3B FF FF\n");
    EXPECT_EQ(run(process_cmd_e2p, "clear = 0x300, 57").result, cmd_ok);
    EXPECT_EQ(device.eeprom[0x300 + 56], 0xFF);
    EXPECT_EQ(device.eeprom[0x300 + 57], 57);
}

TEST_F(ConsoleCommands, ReadsTheConfigurationAsTheFirmwareReplaysIt) {
    const Bytes list = {0x03, 0xBB, 0xCC, 0x45, 0x06, 0x2C, 0x7F, 0x00, 0x55, 0x06, 0x31, 0x80, 0x00,
                        0x6D, 0x01, 0x01, 0x00, 0x00, 0xA0, 0x29, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00};
    std::copy(list.begin(), list.end(), device.eeprom.begin() + e2p_switch_area.address);
    const Outcome outcome = run(process_cmd_cfg, "read");
    EXPECT_EQ(outcome.result, cmd_ok);
    EXPECT_THAT(
        outcome.out,
        AllOf(HasSubstr("0x203 : 45 06 2C 7F 00"), HasSubstr("MDIO 0x06 register 44 AND mask 0x007F"),
              HasSubstr("MDIO 0x06 register 49 OR mask 0x0080"), HasSubstr("VID 5 fid 77 ports 1001"),
              HasSubstr("0x21A : no record, the list has no end"), HasSubstr("there is no begin marker")));

    EXPECT_EQ(run(process_cmd_cfg, "write").result, cmd_ok);
    EXPECT_THAT(run(process_cmd_cfg, "read").out, AllOf(Not(HasSubstr("no ")), HasSubstr("13 EE CC")));
}

TEST_F(ConsoleCommands, SamplesOfTheHelpScreenReachTheTables) {
    EXPECT_EQ(run(process_cmd_smac, "5 0x0A yes no yes 1001 80:01:02:03:04:00").result, cmd_ok);
    EXPECT_EQ(device.entry(ksz_table::static_mac, 5),
              (Bytes{0x00, 0x04, 0x03, 0x02, 0x01, 0x80, 0x32, 0x15, 0x00}));
    EXPECT_EQ(run(process_cmd_vlan, "5 77 yes 1001").result, cmd_ok);
    EXPECT_EQ(device.entry(ksz_table::vlan, 1),
              (Bytes{0x00, 0xA0, 0x29, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(run(process_cmd_ind_tab, "smac 4 1 2 3 4 5 6 7 0").result, cmd_ok);
    EXPECT_EQ(device.entry(ksz_table::static_mac, 4), (Bytes{1, 2, 3, 4, 5, 6, 7, 0, 0}));
    EXPECT_EQ(run(process_cmd_pvlan, "4 1001").result, cmd_ok);
    EXPECT_THAT(run(process_cmd_pvlan, "4").out, HasSubstr("   4  1001"));
}

TEST_F(ConsoleCommands, TheVlanListReadsEachSetOnce) {
    const Outcome outcome = run(process_cmd_vlan, "6-17");
    EXPECT_EQ(outcome.result, cmd_ok);
    EXPECT_EQ(device.requests().size(), 4u);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\n    6 "), HasSubstr("\n   17 ")));
}

TEST_F(ConsoleCommands, TheListOfHeardAddressesEndsWhereTheTableEnds) {
    for (const uint8_t last : {0x55, 0x56})
        device.hardware.chip.receive_frame(port_usb, {{1}, {last, 0x44, 0x33, 0x22, 0x11, 0x00}, 64, {}});
    const Outcome outcome = run(process_cmd_mac, "list");
    EXPECT_EQ(outcome.result, cmd_ok);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("00:11:22:33:44:55"), HasSubstr("00:11:22:33:44:56")));
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3);
}

TEST_F(ConsoleCommands, AListEndsAtItsFirstTimeout) {
    device.answer = [&](const Bytes& request) {
        const bool entry_two =
            request[0] == msg_type::remote_request && request.size() > 8 && request[8] == 2;
        return entry_two ? std::vector<Bytes>{} : device.firmware(request);
    };
    // Three seconds are this request's timeout.
    const Outcome outcome = run(process_cmd_smac, "0-31");
    EXPECT_EQ(outcome.result, cmd_failed);
    EXPECT_THAT(outcome.err, HasSubstr("reading static MAC entry 2 failed, the list ends here"));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\n    1 "), Not(HasSubstr("\n    3 "))));
}

TEST_F(ConsoleCommands, PortShowsWhatItSets) {
    EXPECT_EQ(run(process_cmd_port, "2 negotiation=forced").result, cmd_ok);
    EXPECT_EQ(run(process_cmd_port, "2 speed=10").result, cmd_ok);
    EXPECT_EQ(run(process_cmd_port, "2 duplex=half").result, cmd_ok);
    EXPECT_EQ(run(process_cmd_port, "2 flow=on").result, cmd_ok);
    EXPECT_EQ(device.reg(mdio_switch, 60) & 0xE0, 0x80);
    EXPECT_EQ(
        run(process_cmd_port, "2").out,
        "port 2 (100BaseTX)\n  negotiation forced\n  speed       10\n  duplex      half\n  flow        on\n");
    EXPECT_THAT(run(process_cmd_port, nullptr).out, HasSubstr("port 2 negotiation=auto"));
}

TEST_F(ConsoleCommands, TheMdioTestRestoresWhatItTriedAndNamesAMissingNode) {
    device.reg(port_phy(port_oabr1), 30) = 0x1234;
    EXPECT_EQ(run(process_cmd_test, "mdio").result, cmd_ok);
    EXPECT_EQ(device.reg(port_phy(port_oabr1), 30), 0x1234);

    device.answer = [this](const Bytes& request) {
        std::vector<Bytes> replies = device.firmware(request);
        if (request[1] == msg_cmd::mdio_read && request[2] == port_phy(port_oabr2))
            put_le16(&replies[0][4], 0xFFFF);
        return replies;
    };
    const Outcome outcome = run(process_cmd_test, "mdio");
    EXPECT_EQ(outcome.result, cmd_failed);
    EXPECT_THAT(
        outcome.out,
        HasSubstr("0x19 BroadR-Reach PHY of port 4  identifier 0xFFFF 0xFFFF : nobody at this address"));
}

}  // namespace
