#include <gmock/gmock.h>
#include <wx/filename.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "lib/can.h"
#include "lib/ksz.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using oabr::OABRDevice;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lines = std::vector<std::string>;

void append(Lines* lines, int depth, const std::string& line) {
    lines->push_back(std::string(4 * static_cast<size_t>(depth), ' ') + line);
}
void appendValue(Lines* lines, int depth, const std::string& name, const std::string& text) {
    append(lines, depth, text.empty() ? "<" + name + " />" : "<" + name + ">" + text + "</" + name + ">");
}

constexpr const char* mac_columns[] = {"Valid",     "FID",        "Use_FID", "ST_Ovrd",    "Fwd_OABR1",
                                       "Fwd_OABR2", "Fwd_100BTX", "Fwd_USB", "MAC_Address"};

/// A file with every value other than a device's that was never configured, as the program writes it: each
/// element in its place, a line each.
Lines wholeFile() {
    Lines lines = {
        "<?xml version=\"1.0\" ?>",
        "<Port_config>",
        "    <OABR1>",
        "        <Flow_control>On</Flow_control>",
        "        <Speed>10 Mbit/s</Speed>",
        "    </OABR1>",
        "    <OABR2>",
        "        <Flow_control>On</Flow_control>",
        "        <Speed>10 Mbit/s</Speed>",
        "    </OABR2>",
        "    <BaseTx>",
        "        <Auto_negotiation>false</Auto_negotiation>",
        "        <Duplex_model>Half</Duplex_model>",
        "        <Flow_control>On</Flow_control>",
        "        <Speed>10 Mbit/s</Speed>",
        "    </BaseTx>",
        "</Port_config>",
        "<Sniffing>",
        "    <Sniffing_on_port>100BaseTX</Sniffing_on_port>",
        "    <OABR1>TX only</OABR1>",
        "    <OABR2>RX only</OABR2>",
        "    <BaseTx>off</BaseTx>",
        "    <USB>TX and RX</USB>",
        "</Sniffing>",
        "<VLAN>",
        "    <Port_Based_Vlan>",
    };
    int cell = 0;
    for (const char* input : {"USB", "BaseTx", "OABR2", "OABR1"}) {
        append(&lines, 2, std::string("<") + input + "_Input>");
        for (const char* output : {"USB", "BaseTx", "OABR2", "OABR1"})
            appendValue(&lines, 3, std::string(output) + "_Output", cell++ % 3 == 0 ? "false" : "true");
        append(&lines, 2, std::string("</") + input + "_Input>");
    }
    append(&lines, 1, "</Port_Based_Vlan>");
    append(&lines, 1, "<Static_Mac>");
    for (int row = 0; row < 32; ++row) {
        const std::string name = "T" + std::to_string(row);
        append(&lines, 2, "<" + name + ">");
        for (int column = 0; column < 9; ++column) {
            std::string text = (row + column) % 2 == 0 ? "true" : "false";
            if (column == 0 || column == 4) text = "true";
            if (column == 1) text = std::to_string(127 - row);
            if (column == 8) text = wxString::Format("02:00:00:00:C0:%02X", row).utf8_string();
            appendValue(&lines, 3, mac_columns[column], text);
        }
        append(&lines, 2, "</" + name + ">");
    }
    append(&lines, 1, "</Static_Mac>");
    appendValue(&lines, 1, "Vlan_802.1Q", "true");
    append(&lines, 1, "<Vlan_Tabelle1>");
    int port = 0;
    for (const char* name : {"OABR1", "OABR2", "Ethernet_100BTX", "USB"}) {
        append(&lines, 2, std::string("<") + name + ">");
        appendValue(&lines, 3, "PVID", std::to_string(4000 + port));
        int flag = 0;
        for (const char* column : {"Insert_Tag", "Remove_Tag", "PVID_Filter", "VTable_Filter"})
            appendValue(&lines, 3, column, flag++ == port ? "false" : "true");
        append(&lines, 2, std::string("</") + name + ">");
        ++port;
    }
    append(&lines, 1, "</Vlan_Tabelle1>");
    append(&lines, 1, "<Vlan_Tabelle2>");
    int row = 0;
    for (const int vid : {1, 2, 77, 4094}) {
        append(&lines, 2, "<" + std::to_string(row) + ">");
        appendValue(&lines, 3, "Valid", "true");
        appendValue(&lines, 3, "VID", std::to_string(vid));
        appendValue(&lines, 3, "FID", std::to_string(100 + row));
        int bit = 0;
        for (const char* column : {"OABR1", "OABR2", "ET_100BTX", "USB"})
            appendValue(&lines, 3, column, bit++ == row ? "false" : "true");
        append(&lines, 2, "</" + std::to_string(row++) + ">");
    }
    append(&lines, 1, "</Vlan_Tabelle2>");
    append(&lines, 0, "</VLAN>");
    append(&lines, 0, "<LifeCycle>");
    const std::pair<const char*, const char*> can[] = {{"CANMode", "LISTENONLY"},
                                                       {"BaudRate", "Custom"},
                                                       {"PhaseSeg1", "4"},
                                                       {"PhaseSeg2", "3"},
                                                       {"BRP", "16"},
                                                       {"SyncJump", "2"},
                                                       {"UseLargerPhase1", "true"},
                                                       {"UseLargerPhase2", "false"},
                                                       {"UseMultipleBit", "false"},
                                                       {"bWakeUpFilter", "true"},
                                                       {"PropagationDelay", "6"},
                                                       {"WakeupMode", "CAN or Ethernet"},
                                                       {"TrafficTime", "65535"},
                                                       {"Ethernetwakeup", "258"},
                                                       {"EthernetThreshold", "772"},
                                                       {"Traffic", "false"},
                                                       {"Selective", "true"},
                                                       {"StandardPuffer1", "true"},
                                                       {"ExtendedPuffer1", "true"},
                                                       {"Filter1", "18FF50E5"},
                                                       {"Filter2", "123"},
                                                       {"Mask", "1FFFFFFF"}};
    for (const auto& [name, text] : can)
        appendValue(&lines, 1, name, text);
    append(&lines, 0, "</LifeCycle>");
    return lines;
}

std::string joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

/// Compares line by line, and names the first that differs.
void expectLines(const std::string& actual, const std::string& expected) {
    std::istringstream a(actual), b(expected);
    std::string line, wanted;
    for (int number = 1; std::getline(b, wanted); ++number) {
        ASSERT_TRUE(std::getline(a, line)) << "line " << number << " is missing: " << wanted;
        ASSERT_EQ(line, wanted) << "line " << number;
    }
    EXPECT_FALSE(std::getline(a, line)) << line;
}

/// What a device holds of all that a file can set: its registers, tables and CAN block.
std::vector<unsigned> deviceState() {
    std::vector<unsigned> state;
    for (int reg = 0; reg < 96; ++reg) {
        // Of each port the live link's state is left out.
        if (reg >= 32 && (reg % 16 == ksz_status0 || reg % 16 >= 14)) continue;
        uint16_t value = 0xDEAD;
        EXPECT_EQ(OABRDevice::instance()->readMDIO(6, static_cast<uint8_t>(reg), &value), 0);
        state.push_back(value);
    }
    for (const uint8_t phy : {24, 25}) {
        uint16_t value = 0xDEAD;
        EXPECT_EQ(OABRDevice::instance()->readMDIO(phy, 0, &value), 0);
        state.push_back(value);
    }
    for (uint16_t entry = 0; entry < ksz_smac_entries; ++entry) {
        ksz_entry_data data{};
        EXPECT_EQ(ksz_table_read(ksz_table::static_mac, entry, &data), 1);
        state.insert(state.end(), data.begin(), data.end());
    }
    for (int set = 0; set < ksz_vlan_sets; ++set) {
        ksz_entry_data data{};
        if (set > 20 && set < ksz_vlan_sets - 1) continue;
        EXPECT_EQ(ksz_table_read(ksz_table::vlan, static_cast<uint16_t>(set), &data), 1);
        state.insert(state.end(), data.begin(), data.end());
    }
    for (const uint16_t address : {e2p_can_speed_address, e2p_can_extra_address}) {
        std::array<uint8_t, e2p_can_extra_address - e2p_can_speed_address> bytes{};
        EXPECT_EQ(OABRDevice::instance()->readE2P(address, bytes.size(), bytes.data()), 0);
        state.insert(state.end(), bytes.begin(), bytes.end());
    }
    return state;
}

class ConfigFile : public ConnectedWindow {
protected:
    ConfigFile() {
        page_->records = 0;
        frame_->configManager().askFile = [this](wxWindow*, bool) { return path_; };
    }
    ~ConfigFile() override { wxRemoveFile(path_); }

    static std::string read(const wxString& path) {
        std::ifstream file(path.utf8_string(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void write(const std::string& text) const {
        std::ofstream(path_.utf8_string(), std::ios::binary) << text;
    }

    /// Answers the dialog of the command: checks the boxes with these labels.
    void answerDialog(const std::vector<wxString>& labels) {
        answers_.next([labels](wxDialog* dialog) {
            for (wxWindow* child : dialog->GetChildren()) {
                auto* box = dynamic_cast<wxCheckBox*>(child);
                if (box == nullptr || std::ranges::find(labels, box->GetLabelText()) == labels.end())
                    continue;
                box->SetValue(true);
                wxCommandEvent event(wxEVT_CHECKBOX, box->GetId());
                event.SetEventObject(box);
                box->ProcessWindowEvent(event);
            }
            return wxID_OK;
        });
    }
    void save(const std::vector<wxString>& labels) {
        answerDialog(labels);
        command(*frame_, wxID_SAVE);
    }
    /// @return what the message box said; empty without one
    std::string load(const std::vector<wxString>& labels) {
        const size_t before = answers_.boxes().size();
        answerDialog(labels);
        command(*frame_, wxID_OPEN);
        return answers_.boxes().size() == before + 1 ? "" : answers_.boxes().back().text;
    }
    void storeAndPowerCycle(sim_process::Device& device) {
        command(*frame_, ID_STORE);
        ASSERT_TRUE(waitFor([this] { return !indicatorShown(); }));
        frame_->DisconnectFromDevice();
        ASSERT_TRUE(connectedTo("Not connected"));
        ASSERT_EQ(device.control("power-cycle").substr(0, 2), "ok");
        ASSERT_TRUE(connectFirst());
    }

    const wxString path_ = wxFileName::CreateTempFileName("oabr-config");
};

TEST_F(ConfigFile, AllThatAFileHoldsIsSetAndStoredAndSavedAgain) {
    const std::string whole = joined(wholeFile());
    std::vector<unsigned> first;
    {
        auto device = plug("OKVX0001");
        ASSERT_TRUE(connectFirst());
        write(whole);
        ASSERT_EQ(load({"All panels"}), "");
        EXPECT_TRUE(indicatorShown());
        ASSERT_NO_FATAL_FAILURE(storeAndPowerCycle(device));
        save({"All panels"});
        expectLines(read(path_), whole);
        first = deviceState();
        device.unplug();
        ASSERT_TRUE(listed(0));
    }
    auto erased = plug("OKVX0002");
    ASSERT_TRUE(connectFirst());
    EXPECT_NE(deviceState(), first);
    // Each panel alone: the others keep what they have.
    for (const char* panel : {"Life Cycle Panel", "VLAN Panel", "Sniffing Panel", "Port Config Panel"})
        ASSERT_EQ(load({panel}), "");
    ASSERT_NO_FATAL_FAILURE(storeAndPowerCycle(erased));
    EXPECT_EQ(deviceState(), first);
}

TEST_F(ConfigFile, OnlyTheChosenPanelsAreInTheFile) {
    const auto device = plug();
    ASSERT_TRUE(connectFirst());
    save({"Sniffing Panel"});
    EXPECT_THAT(read(path_), StartsWith("<?xml version=\"1.0\" ?>\n<Sniffing>\n    <Sniffing_on_port>"));
    EXPECT_THAT(read(path_), testing::EndsWith("</USB>\n</Sniffing>\n"));
    EXPECT_THAT(load({"Sniffing Panel", "VLAN Panel"}), HasSubstr("missing element \"VLAN\""));
    save({"VLAN Panel"});
    EXPECT_THAT(read(path_), HasSubstr("    <Vlan_Tabelle2 />\n</VLAN>\n"));
    EXPECT_EQ(load({"VLAN Panel"}), "");

    const size_t before = answers_.boxes().size();
    answers_.next(wxID_OK);
    command(*frame_, wxID_SAVE);
    answers_.next(wxID_OK);
    command(*frame_, wxID_OPEN);
    ASSERT_THAT(answers_.boxes(), SizeIs(before + 4));
    EXPECT_EQ(answers_.boxes()[before].title, "Save XML Config");
    EXPECT_EQ(answers_.boxes()[before + 1].text, "You did not specify any panel to save XML Config");
    EXPECT_EQ(answers_.boxes()[before + 2].title, "Open XML Config");
    EXPECT_EQ(answers_.boxes()[before + 3].text, "You did not specify any panel to load XML Config ");
}

/// The panel whose element a line of the file is in.
wxString panelOf(const Lines& lines, size_t at) {
    while (lines[at][0] == ' ')
        --at;
    const std::pair<const char*, const char*> panels[] = {{"Port_config>", "Port Config Panel"},
                                                          {"Sniffing>", "Sniffing Panel"},
                                                          {"VLAN>", "VLAN Panel"},
                                                          {"LifeCycle>", "Life Cycle Panel"}};
    for (const auto& [element, label] : panels) {
        if (lines[at].ends_with(element)) return label;
    }
    return "";
}

TEST_F(ConfigFile, AFaultyFileIsNamedAndLeavesThePageAlone) {
    const auto device = plug();
    ASSERT_TRUE(connectFirst());
    save({"All panels"});
    const std::string before = read(path_);
    const Lines whole = wholeFile();
    const auto refused = [&](const Lines& lines, size_t at, const std::string& name) {
        SCOPED_TRACE(whole[at]);
        write(joined(lines));
        const std::string message = load({panelOf(whole, at)});
        EXPECT_THAT(message, HasSubstr(name));
        EXPECT_FALSE(indicatorShown());
    };
    size_t values = 0;
    for (size_t at = 1; at < whole.size(); ++at) {
        const size_t end = whole[at].find("</");
        // Of the long tables one row does.
        if (end == std::string::npos || whole[at].find('<') == end) continue;
        if (++values % 5 != 0 && panelOf(whole, at) == "VLAN Panel") continue;
        const std::string name = whole[at].substr(end + 2, whole[at].size() - end - 3);
        Lines lines = whole;
        lines.erase(lines.begin() + static_cast<ptrdiff_t>(at));
        refused(lines, at, "missing element");
        lines = whole;
        lines.insert(lines.begin() + static_cast<ptrdiff_t>(at), whole[at]);
        refused(lines, at, "doubled element");
        lines = whole;
        lines[at] = "<" + name + "x>true</" + name + "x>";
        refused(lines, at, name + "x");
        lines[at] = "<" + name + ">99999999999</" + name + ">";
        refused(lines, at, name.substr(0, name.find('_')));  // a column is named as its title is
    }
    EXPECT_GT(values, 300u);
    write(joined(whole).substr(0, 5000));
    EXPECT_THAT(load({"All panels"}), HasSubstr("is not ended"));
    write(
        "\x7F"
        "ELF\xFF%s");
    EXPECT_THAT(load({"All panels"}), HasSubstr("line 1: text outside of all elements"));
    save({"All panels"});
    expectLines(read(path_), before);
}

TEST_F(ConfigFile, ASilentDeviceIsNoSuccess) {
    auto device = plug();
    ASSERT_TRUE(connectFirst());
    write(joined(wholeFile()));
    ASSERT_EQ(device.control("fault silent").substr(0, 2), "ok");
    EXPECT_THAT(load({"Port Config Panel"}), HasSubstr("could not be read"));
    ASSERT_EQ(device.control("fault none").substr(0, 2), "ok");
    ASSERT_EQ(load({"Sniffing Panel"}), "");
    ASSERT_EQ(device.control("fault silent").substr(0, 2), "ok");
    EXPECT_THAT(load({"Port Config Panel"}), HasSubstr("did not answer"));
    EXPECT_THAT(load({"VLAN Panel"}), HasSubstr("did not take all of it"));
    EXPECT_THAT(load({"Life Cycle Panel"}), HasSubstr("\"LifeCycle\", "));
}

}  // namespace
}  // namespace kovgui
