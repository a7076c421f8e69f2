#include <gmock/gmock.h>
#include <wx/textctrl.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>

#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/models/settings_can.h"
#include "src/models/settings_device.h"
#include "src/models/settings_xml.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ConfigFile : public ConnectedWindow {
protected:
    ConfigFile() {
        frame_->configManager().askFile = [this](wxWindow*, bool) { return wxString(path_); };
    }

    void write(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }
    std::string written() const { return contentsOf(path_); }

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

    /// What the settings model makes of the device is byte for byte what the window stored and saves.
    void expectModelMakesTheSame(sim_process::Device& device) {
        settings::DeviceImage image;
        ASSERT_EQ(readFromDevice(settings::Scope::everything(), {}, &image, nullptr),
                  settings::Reading::finished);
        const settings::Settings now = settingsOf(image);
        const ConfigLists lists = listsOf(now);
        const std::string eeprom = device.eeprom();
        const auto expectStored = [&](size_t address, const std::vector<uint8_t>& bytes) {
            EXPECT_EQ(eeprom.substr(address, bytes.size()), std::string(bytes.begin(), bytes.end()));
        };
        expectStored(e2p_switch_area.address, storedBytes(lists.switch_list));
        expectStored(e2p_phy1_area.address, storedBytes(lists.phy1_list));
        expectStored(e2p_phy2_area.address, storedBytes(lists.phy2_list));
        expectStored(e2p_can_speed_address, settings::storedCanBytes(canBlockOf(now, *image.can)));
        const std::string path = directory_.path() + "/model.xml";
        EXPECT_EQ(config::saveDocument(path.c_str(), xmlElements(now)), "");
        EXPECT_EQ(contentsOf(path), whole_);
    }

    const sim_process::TemporaryDirectory directory_;
    const std::string path_ = directory_.path() + "/settings.xml";
    /// As the program writes it, with every value other than that of a device that was never configured.
    const std::string whole_ = contentsOf(OABR_SOURCE_DIR "/tests/gui/configuration.xml");
};

TEST_F(ConfigFile, AllThatAFileHoldsIsSetAndStoredAndSavedAgain) {
    auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    write(whole_);
    ASSERT_EQ(load({"All panels"}), "");
    EXPECT_TRUE(indicatorShown());
    ASSERT_EQ(store(), "");
    expectModelMakesTheSame(device);
    ASSERT_NO_FATAL_FAILURE(powerCycle(device));
    save({"All panels"});
    EXPECT_EQ(written(), whole_);
    device.unplug();
    ASSERT_TRUE(listed(0));

    auto erased = simulated("OKVX0002").start();
    ASSERT_TRUE(connectFirst());
    write(whole_);
    for (const char* panel : {"Life Cycle Panel", "VLAN Panel", "Sniffing Panel", "Port Config Panel"})
        ASSERT_EQ(load({panel}), "");  // the others keep what they have
    ASSERT_EQ(store(), "");
    ASSERT_NO_FATAL_FAILURE(powerCycle(erased));
    save({"All panels"});
    EXPECT_EQ(written(), whole_);
}

TEST_F(ConfigFile, OnlyTheChosenPanelsAreInTheFile) {
    const auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    save({"Sniffing Panel"});
    EXPECT_THAT(written(), StartsWith("<?xml version=\"1.0\" ?>\n<Sniffing>\n    <Sniffing_on_port>"));
    EXPECT_THAT(written(), testing::EndsWith("</USB>\n</Sniffing>\n"));
    EXPECT_THAT(load({"Sniffing Panel", "VLAN Panel"}), HasSubstr("missing element \"VLAN\""));
    const size_t told = answers_.boxes().size();
    static_cast<wxChoice*>(frame_->FindWindow(SniffingPanel::ID_SNIFF_USB))->SetSelection(wxNOT_FOUND);
    save({"Sniffing Panel"});
    ASSERT_THAT(answers_.boxes(), SizeIs(told + 2));
    EXPECT_THAT(answers_.boxes().back().text, HasSubstr("\"Sniffing/USB\": nothing is chosen"));
    save({"VLAN Panel"});
    EXPECT_THAT(written(), HasSubstr("    <Vlan_Tabelle2 />\n</VLAN>\n"));
    EXPECT_EQ(load({"VLAN Panel"}), "");

    auto* mask = frame_->FindWindow(CanSettingsPanel::idOf(oabr::CanField::mask));
    static_cast<wxTextCtrl*>(mask)->SetValue("12G");
    save({"Life Cycle Panel"});
    EXPECT_THAT(written(), HasSubstr("<Mask>12G</Mask>"));
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

TEST_F(ConfigFile, AFaultyFileIsNamedAndLeavesThePageAlone) {
    const auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    save({"All panels"});
    const std::string before = written();
    // How texts are broken is the document's test; here each page refuses a value of its own.
    const std::tuple<const char*, const char*, const char*> values[] = {
        {"Port Config Panel", "Duplex_model", "Half"},
        {"Sniffing Panel", "Sniffing_on_port", "100BaseTX"},
        {"VLAN Panel", "BaseTx_Output", "true"},
        {"VLAN Panel", "FID", "127"},
        {"VLAN Panel", "PVID", "4000"},
        {"VLAN Panel", "VID", "4094"},
        {"Life Cycle Panel", "BRP", "16"}};
    for (const auto& [panel, name, value] : values) {
        SCOPED_TRACE(name);
        std::string text = whole_;
        const std::string element = std::string("<") + name + ">" + value;
        write(text.replace(text.find(element) + std::strlen(name) + 2, std::strlen(value), "99999999999"));
        const std::string title(name, std::strcspn(name, "_"));  // of a column, as the page shows it
        EXPECT_THAT(load({panel}), HasSubstr(title));
        EXPECT_FALSE(indicatorShown());
    }
    write(whole_.substr(0, 5000));
    EXPECT_THAT(load({"All panels"}), HasSubstr("is not ended"));
    save({"All panels"});
    EXPECT_EQ(written(), before);
}

TEST_F(ConfigFile, ASilentDeviceIsNoSuccess) {
    auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    write(whole_);
    ASSERT_EQ(device.control("fault silent").substr(0, 2), "ok");
    EXPECT_THAT(load({"Port Config Panel"}), HasSubstr("could not be read"));
    ASSERT_EQ(device.control("fault none").substr(0, 2), "ok");
    ASSERT_EQ(load({"Sniffing Panel"}), "");
    ASSERT_EQ(device.control("fault silent").substr(0, 2), "ok");
    const auto begin = std::chrono::steady_clock::now();
    const std::string message = load({"All panels"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900)) << "one timeout";
    EXPECT_THAT(message, HasSubstr("\"Port_config\": the device did not take all of it\n"
                                   "Not loaded: \"Sniffing\", \"VLAN\", \"LifeCycle\".\n"));
    EXPECT_THAT(load({"VLAN Panel"}), HasSubstr("\"VLAN\": the device did not take all of it"));
    EXPECT_THAT(load({"Life Cycle Panel"}), HasSubstr("\"LifeCycle\", The device did not take"));
}

}  // namespace
}  // namespace kovgui
