#include <gmock/gmock.h>
#include <wx/filename.h>
#include <wx/textctrl.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "lib/can.h"
#include "lib/ksz.h"
#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using oabr::OABRDevice;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lines = std::vector<std::string>;

/// The text of a file as the program writes it: each element in its place, a line each.
class FileText {
public:
    void value(const std::string& name, const std::string& text) {
        add("<" + name + ">" + text + "</" + name + ">");
    }
    /// Several of them, as "name=text;name=text".
    void values(const std::string& list) {
        std::istringstream items(list);
        for (std::string item; std::getline(items, item, ';');)
            value(item.substr(0, item.find('=')), item.substr(item.find('=') + 1));
    }
    void element(const std::string& name, const std::function<void()>& content) {
        add("<" + name + ">");
        ++depth_;
        content();
        --depth_;
        add("</" + name + ">");
    }
    Lines lines = {"<?xml version=\"1.0\" ?>"};

private:
    void add(const std::string& line) { lines.push_back(std::string(4 * depth_, ' ') + line); }
    size_t depth_ = 0;
};

const char* flag(bool is) {
    return is ? "true" : "false";
}

/// A file with every value other than a device's that was never configured.
Lines wholeFile() {
    FileText file;
    const auto element = [&file](const std::string& name, const std::string& values) {
        file.element(name, [&] { file.values(values); });
    };
    file.element("Port_config", [&] {
        element("OABR1", "Flow_control=On;Speed=10 Mbit/s");
        element("OABR2", "Flow_control=On;Speed=10 Mbit/s");
        element("BaseTx", "Auto_negotiation=false;Duplex_model=Half;Flow_control=On;Speed=10 Mbit/s");
    });
    element("Sniffing", "Sniffing_on_port=100BaseTX;OABR1=TX only;OABR2=RX only;BaseTx=off;USB=TX and RX");
    const auto portBased = [&file] {
        int cell = 0;
        for (const std::string input : {"USB", "BaseTx", "OABR2", "OABR1"}) {
            file.element(input + "_Input", [&] {
                for (const std::string output : {"USB", "BaseTx", "OABR2", "OABR1"})
                    file.value(output + "_Output", flag(cell++ % 3 != 0));
            });
        }
    };
    const auto staticMac = [&file](int row) {
        file.value("Valid", flag(row != 7));
        file.value("FID", std::to_string(127 - row));
        int column = 1;
        for (const char* name : {"Use_FID", "ST_Ovrd", "Fwd_OABR1", "Fwd_OABR2", "Fwd_100BTX", "Fwd_USB"})
            file.value(name, flag(++column == 4 || (row + column) % 2 == 0));
        file.value("MAC_Address", wxString::Format("02:00:00:00:C0:%02X", row).utf8_string());
    };
    const auto portsOfVlan = [&file] {
        int port = 0;
        for (const char* name : {"OABR1", "OABR2", "Ethernet_100BTX", "USB"}) {
            file.element(name, [&] {
                file.value("PVID", std::to_string(4000 + port));
                int column = 0;
                for (const char* setting : {"Insert_Tag", "Remove_Tag", "PVID_Filter", "VTable_Filter"})
                    file.value(setting, flag(column++ != port));
            });
            ++port;
        }
    };
    const auto vlans = [&file] {
        int row = 0;
        for (const int vid : {1, 2, 77, 4094}) {
            file.element(std::to_string(row), [&] {
                file.value("Valid", "true");
                file.value("VID", std::to_string(vid));
                file.value("FID", std::to_string(100 + row));
                int column = 0;
                for (const char* port : {"OABR1", "OABR2", "ET_100BTX", "USB"})
                    file.value(port, flag(column++ != row));
            });
            ++row;
        }
    };
    file.element("VLAN", [&] {
        file.element("Port_Based_Vlan", portBased);
        file.element("Static_Mac", [&] {
            for (int row = 0; row < 32; ++row)
                file.element("T" + std::to_string(row), [&] { staticMac(row); });
        });
        file.value("Vlan_802.1Q", "true");
        file.element("Vlan_Tabelle1", portsOfVlan);
        file.element("Vlan_Tabelle2", vlans);
    });
    element("LifeCycle",
            "CANMode=LISTENONLY;BaudRate=Custom;PhaseSeg1=4;PhaseSeg2=3;BRP=16;SyncJump=2;"
            "UseLargerPhase1=true;UseLargerPhase2=false;UseMultipleBit=false;bWakeUpFilter=true;"
            "PropagationDelay=6;WakeupMode=CAN or Ethernet;TrafficTime=65535;Ethernetwakeup=258;"
            "EthernetThreshold=772;Traffic=false;Selective=true;StandardPuffer1=true;ExtendedPuffer1=true;"
            "Filter1=18FF50E5;Filter2=123;Mask=1FFFFFFF");
    return file.lines;
}

std::string joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

Lines linesOf(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
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
                send(wxEVT_CHECKBOX, box);
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
    const wxString path_ = wxFileName::CreateTempFileName("oabr-config");
};

TEST_F(ConfigFile, AllThatAFileHoldsIsSetAndStoredAndSavedAgain) {
    const std::string whole = joined(wholeFile());
    std::vector<unsigned> first;
    {
        auto device = simulated("OKVX0001").start();
        ASSERT_TRUE(connectFirst());
        write(whole);
        ASSERT_EQ(load({"All panels"}), "");
        EXPECT_TRUE(indicatorShown());
        ASSERT_EQ(store(), "");
        ASSERT_NO_FATAL_FAILURE(powerCycle(device));
        save({"All panels"});
        EXPECT_THAT(linesOf(read(path_)), ElementsAreArray(wholeFile()));
        first = deviceState();
        device.unplug();
        ASSERT_TRUE(listed(0));
    }
    auto erased = simulated("OKVX0002").start();
    ASSERT_TRUE(connectFirst());
    EXPECT_NE(deviceState(), first);
    // Each panel alone: the others keep what they have.
    for (const char* panel : {"Life Cycle Panel", "VLAN Panel", "Sniffing Panel", "Port Config Panel"})
        ASSERT_EQ(load({panel}), "");
    ASSERT_EQ(store(), "");
    ASSERT_NO_FATAL_FAILURE(powerCycle(erased));
    EXPECT_EQ(deviceState(), first);
}

TEST_F(ConfigFile, OnlyTheChosenPanelsAreInTheFile) {
    const auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    save({"Sniffing Panel"});
    EXPECT_THAT(read(path_), StartsWith("<?xml version=\"1.0\" ?>\n<Sniffing>\n    <Sniffing_on_port>"));
    EXPECT_THAT(read(path_), testing::EndsWith("</USB>\n</Sniffing>\n"));
    EXPECT_THAT(load({"Sniffing Panel", "VLAN Panel"}), HasSubstr("missing element \"VLAN\""));
    save({"VLAN Panel"});
    EXPECT_THAT(read(path_), HasSubstr("    <Vlan_Tabelle2 />\n</VLAN>\n"));
    EXPECT_EQ(load({"VLAN Panel"}), "");

    auto* mask = frame_->FindWindow(CanSettingsPanel::idOf(oabr::CanField::mask));
    static_cast<wxTextCtrl*>(mask)->SetValue("12G");
    save({"Life Cycle Panel"});
    EXPECT_THAT(read(path_), HasSubstr("<Mask>12G</Mask>"));
    EXPECT_THAT(answers_.boxes().back().text, HasSubstr("\"LifeCycle\", Mask"));
    EXPECT_THAT(load({"Life Cycle Panel"}), HasSubstr("\"LifeCycle\", Mask"));

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
    const auto device = simulated().start();
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
    EXPECT_EQ(read(path_), before);
}

TEST_F(ConfigFile, ASilentDeviceIsNoSuccess) {
    auto device = simulated().start();
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
