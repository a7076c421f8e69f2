#include <gmock/gmock.h>
#include <sys/stat.h>
#include <wx/dnd.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/uiaction.h>

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <tuple>

#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigManager/LoadDifferenceDialog.h"
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

    /// Answers the dialog of the command: of its boxes, which begin checked, leaves those with these labels
    /// so.
    void answerDialog(const std::vector<wxString>& labels) {
        answers_.next([labels](wxDialog* dialog) {
            for (wxWindow* child : dialog->GetChildren()) {
                auto* box = dynamic_cast<wxCheckBox*>(child);
                if (box == nullptr || labels[0] == "All panels" || box->GetLabelText() == "All panels" ||
                    std::ranges::find(labels, box->GetLabelText()) != labels.end())
                    continue;
                box->SetValue(false);
                send(wxEVT_CHECKBOX, box);
            }
            return wxID_OK;
        });
    }
    void save(const std::vector<wxString>& labels) {
        answerDialog(labels);
        command(*frame_, wxID_SAVE);
    }
    /// Loads what differs on these panels.
    /// @param before  happens while the difference is shown
    /// @return what was said of it: rows that are unknown, then message boxes
    std::string load(
        const std::vector<wxString>& labels, const std::function<void()>& before = [] {}) {
        const size_t old_boxes = answers_.boxes().size();
        std::string said;
        answerDialog(labels);
        answers_.next([&](wxDialog* shown) {
            const auto* dialog = dynamic_cast<LoadDifferenceDialog*>(shown);
            if (dialog == nullptr) return wxID_OK;
            for (const auto& row : dialog->rows().rows())
                if (row.state == settings::LoadDifference::State::unknown) said += row.note + "\n";
            before();
            return dialog->rows().ticked() > 0 ? wxID_APPLY : wxID_CANCEL;
        });
        command(*frame_, wxID_OPEN);
        for (size_t i = old_boxes; i < answers_.boxes().size(); ++i)
            said += answers_.boxes()[i].text;
        return said;
    }

    void drop() {
        auto* target = static_cast<wxFileDropTarget*>(frame_->GetDropTarget());
        EXPECT_TRUE(target->OnDropFiles(0, 0, wxArrayString(1, std::array{wxString(path_)}.data())));
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
    EXPECT_EQ(load({"Life Cycle Panel"}), "line 24: Mask: must be 1 to 8 hexadecimal digits\n");

    const size_t before = answers_.boxes().size();
    answerDialog({""});
    command(*frame_, wxID_SAVE);
    answerDialog({""});
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

TEST_F(ConfigFile, ADeviceThatIsSilentOrGoneIsNoSuccess) {
    auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    write(whole_);
    const auto fault = [&](const std::string& what) {
        EXPECT_EQ(device.control("fault " + what).substr(0, 2), "ok");
    };
    fault("silent");
    EXPECT_THAT(load({"Port Config Panel"}), HasSubstr("could not be read"));
    fault("none");
    EXPECT_THAT(load({"Port Config Panel"}, [&] { fault("silent"); }), HasSubstr("could not be read"));
    fault("none");
    EXPECT_FALSE(indicatorShown());
    EXPECT_THAT(load({"Port Config Panel"}, [&] { device.unplug(); }), HasSubstr("Nothing was written"));
}

/// Presses keys one after the other, each when its time has come, while a modal dialog has the event loop.
class Keys : private wxTimer {
public:
    struct Step {
        std::function<bool()> ready;
        int key;
    };
    explicit Keys(std::vector<Step> steps) : steps_(std::move(steps)) { Start(20); }
    bool done() const { return next_ == steps_.size(); }

private:
    void Notify() override {
        if (done() || !steps_[next_].ready()) return;
        wxUIActionSimulator().Char(steps_[next_++].key);
    }

    const std::vector<Step> steps_;
    size_t next_ = 0;
};

TEST_F(ConfigFile, WhatIsPickedByKeyboardIsLoadedAndNothingElse) {
    const auto device = simulated().start();
    ASSERT_TRUE(connectFirst());
    write("format = 1\n[ports.OABR1]\nspeed = 10\nflow_control = true\n[ports.OABR2]\nspeed = 10\n");
    settings::Plan applied;
    frame_->configManager().onApplied = [&](const settings::Plan& plan) { applied = plan; };
    LoadDifferenceDialog* dialog = nullptr;
    std::unique_ptr<Keys> keys;
    const auto ticked = [&](size_t count) {
        return [&dialog, count] { return dialog->rows().ticked() == count; };
    };
    for (const bool second_time : {false, true}) {
        const size_t differing = second_time ? 1 : 3;
        answers_.next([&](wxDialog* shown) {
            const auto* chooser = dynamic_cast<XmlConfigDialog*>(shown);
            EXPECT_TRUE(chooser->isChosen(ConfigPanel::port));
            EXPECT_EQ(chooser->isChosen(ConfigPanel::vlan), !second_time) << "what a dropped file holds";
            return wxID_OK;
        });
        answers_.next([&](wxDialog* shown) {
            dialog = dynamic_cast<LoadDifferenceDialog*>(shown);
            EXPECT_EQ(dialog->rows().ticked(), differing);
            const auto in_list = [&] {
                const wxWindow* const focus = wxWindow::FindFocus();
                return focus != nullptr && wxGetTopLevelParent(const_cast<wxWindow*>(focus)) == dialog;
            };
            std::vector<Keys::Step> steps = {{in_list, WXK_SPACE},
                                             {ticked(differing - 1), second_time ? WXK_ESCAPE : WXK_RETURN}};
            keys = std::make_unique<Keys>(std::move(steps));
            shown->CallAfter([&, shown] {
                const wxRect frame = frame_->GetScreenRect(), own = shown->GetScreenRect();
                EXPECT_LE(std::abs(own.x + own.width / 2 - frame.x - frame.width / 2), 2);
            });
            return wxID_NONE;
        });
        if (second_time) {
            drop();
            drainEvents();
        } else {
            command(*frame_, wxID_OPEN);
        }
        EXPECT_TRUE(keys->done());
    }
    EXPECT_TRUE(indicatorShown());
    ASSERT_THAT(applied.difference.changes, SizeIs(2));
    settings::DeviceImage image;
    ASSERT_EQ(readFromDevice(settings::Scope::everything(), {}, &image, nullptr),
              settings::Reading::finished);
    const settings::Settings now = settingsOf(image);
    EXPECT_EQ(now.port(port_oabr1).flow_control, 0) << "unticked";
    EXPECT_EQ(now.port(port_oabr1).speed, 0);
    EXPECT_EQ(now.port(port_oabr2).speed, 0);
    const auto* page = find<PortConfigPanel>();
    EXPECT_EQ(page->control(PortConfigPanel::ID_OABR2_SPEED)->shownText(), "10 Mbit/s");
}

TEST_F(ConfigFile, TwoFilesAreComparedWithoutADevice) {
    const std::string second = directory_.path() + "/second.toml";
    const std::string difference = directory_.path() + "/difference.toml";
    write("[ports.USB]\nspeed = 10\n[can]\nmode = \"sleep\"\n");
    std::ofstream(second) << "[ports.USB]\nspeed = 100\n";
    std::vector<std::string> paths{difference, second, path_};
    frame_->configManager().askSetUpFile = [&](wxWindow*, const wxString&, bool) {
        const wxString path(paths.back());
        paths.pop_back();
        return path;
    };
    answers_.next([](wxDialog* shown) {
        EXPECT_EQ(wxWindow::FindWindowByName("loadHead", shown)->GetLabel(),
                  "Files: 2 settings, 1 differs, 0 unknown, 1 cannot be saved");
        send(wxEVT_BUTTON, shown->FindWindow(LoadDifferenceDialog::ID_SAVE));
        return wxID_CANCEL;
    });
    command(*frame_, ID_COMPARE_FILES);
    EXPECT_THAT(contentsOf(difference), HasSubstr("[ports.USB]\nspeed = 100\n"));

    drop();
    drainEvents();
    EXPECT_THAT(answers_.boxes().back().text, HasSubstr("Connect to a device first"));

    const std::string pipe = directory_.path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const auto& [name, message] :
         {std::pair(pipe, "not an ordinary file"), std::pair(second, "line 1: ")}) {
        std::ofstream(second) << "\xFF\xFE";
        paths = {path_, name};
        command(*frame_, ID_COMPARE_FILES);
        EXPECT_THAT(answers_.boxes().back().text, HasSubstr(message));
    }
}

}  // namespace
}  // namespace kovgui
