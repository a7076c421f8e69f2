#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "src/FlashDlg/FlashPanel.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "tests/gui/connected_window_fixture.h"
#include "tests/support/hex_record.h"

namespace kovgui {
namespace {

using testing::HasSubstr;

/// A firmware file whose program, of 512 bytes, says which version it is.
std::string firmwareFile(const std::string& version) {
    std::string program = "OABR_FW v" + version + " 2024/05/06";
    program.resize(512, 'x');
    std::string hex;
    for (size_t at = 0; at < program.size(); at += 16)
        hex += hexRecord(at, {program.begin() + at, program.begin() + at + 16});
    hex += hexRecord(0, {}, 1);
    return "[Version]\nTR_SYSTEM = OABR_Korvex\nBL_VERSION = v2a1b\nBUILD_VERSION = v" + version +
           "\nBUILD_DATUM = 2024/05/06\n[Program]\nhex = \"" + hex + "\"\n";
}

/// The firmware page of the window, with a simulated device in the directory that the program watches.
class FlashPage : public ConnectedWindow {
protected:
    FlashPage() {
        platform::setPauseScale(1);  // a bootloader answers in its own time
        keepSettings(false);         // to read them takes longer than the update
        std::filesystem::remove_all(std::getenv("OABR_STATE_DIR"));
    }
    void keepSettings(bool keep) {
        auto* box = dynamic_cast<wxCheckBox*>(flash_->FindWindow(FlashPanel::ID_KEEP_SETTINGS));
        box->SetValue(keep);
    }

    void load(const std::string& version) { loadText(firmwareFile(version)); }
    void loadText(const std::string& text) {
        const std::string path = std::string(std::getenv("HOME")) + "/firmware.iff";
        std::ofstream(path) << text;
        flash_->loadFile(path);
    }
    void press(int id) {
        wxWindow* button = flash_->FindWindow(id);
        ASSERT_TRUE(button->IsEnabled());
        send(wxEVT_BUTTON, button);
    }
    bool told() {
        return waitFor([this] { return !answers_.boxes().empty() && !flash_->hasJob(); });
    }
    static wxWindow* progress() {
        for (wxWindow* window : wxTopLevelWindows) {
            if (window->GetLabel() == "Progress dialog") return window;
        }
        return nullptr;
    }
    std::string verdict() const { return label("verdict", flash_); }

    FlashPanel* const flash_ = find<FlashPanel>();
};

TEST_F(FlashPage, FlashesTheConnectedDeviceAndConnectsToItAgain) {
    auto plugged = simulated().turnaround(std::chrono::milliseconds(1)).start();
    const std::string stored = plugged.eeprom();
    ASSERT_TRUE(connectFirst());
    load("1.7.0.2");
    EXPECT_THAT(verdict(), HasSubstr("newer"));
    page_->heard.clear();
    keepSettings(true);
    press(FlashPanel::ID_FLASH);
    EXPECT_EQ(oabr::DeviceUse::user(), "the firmware update");
    ASSERT_TRUE(waitFor([] { return progress() != nullptr; }));
    EXPECT_FALSE(toolEnabled(ID_RESET));
    ASSERT_TRUE(told());
    EXPECT_EQ(answers_.boxes()[0].title, "Succeed");
    EXPECT_EQ(answers_.boxes()[0].text, "Device successfully flashed");
    EXPECT_EQ(progress(), nullptr);
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(plugged.eeprom(), stored) << "not the defaults";
    EXPECT_THAT(label("backup", flash_), HasSubstr("backed up in"));
    EXPECT_EQ(status(1), "Firmware Version: 01.07.00.02");
    EXPECT_THAT(page_->heard, testing::ElementsAre(ID_DEVICE_DISCONNECTED, ID_DEVICE_CONNECTED));
    EXPECT_THAT(verdict(), HasSubstr("that the device runs"));
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(FlashPage, TheDeviceThatItRecoversIsTheOneUsedLast) {
    const auto plugged = simulated().option("--no-firmware").start();
    ASSERT_TRUE(listed(1));
    load("1.7.0.3");
    keepSettings(true);
    press(FlashPanel::ID_FLASH);
    EXPECT_FALSE(flash_->hasJob()) << "it was not said which device";
    answers_.next(wxID_YES);
    answers_.next(wxID_YES);
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(waitFor([this] { return answers_.boxes().size() == 4 && !flash_->hasJob(); }));
    EXPECT_THAT(answers_.boxes()[1].text, HasSubstr("The one that is attached is OKVX0001."));
    EXPECT_THAT(answers_.boxes()[2].text, HasSubstr("cannot be backed up. Flash all the same?"));
    EXPECT_EQ(answers_.boxes()[3].text, "Device successfully flashed");
    ASSERT_TRUE(connectedTo("Connected"));
    frame_->DisconnectFromDevice();
    ASSERT_TRUE(connectedTo("Not connected"));
    command(*frame_, ID_RESET);
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(status(1), "Firmware Version: 01.07.00.03");
}

TEST_F(FlashPage, AFirmwareThatIsTooOldIsWrittenAndNotConnectedTo) {
    const auto plugged = simulated().start();
    ASSERT_TRUE(connectFirst());
    load("0.0.9.98");
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(waitFor([this] { return answers_.boxes().size() == 2; }));
    EXPECT_EQ(answers_.boxes()[0].text, "Device successfully flashed");
    EXPECT_EQ(answers_.boxes()[1].title, "Wrong FW Version");
    EXPECT_EQ(answers_.boxes()[1].text, "Please update your Firmware to Version 0.0.9.99");
    choose(0);
    ASSERT_TRUE(waitFor([this] { return answers_.boxes().size() == 3; }));
    EXPECT_EQ(answers_.boxes()[2].title, "Wrong FW Version");
    EXPECT_EQ(status(2), "Not connected");
    EXPECT_EQ(frame_->getSelectedDevice(), "");
    EXPECT_FALSE(oabr::OABRDevice::instance()->isConnected());
}

TEST_F(FlashPage, SaysWhatFailed) {
    const auto plugged = simulated().fault("reject-record=5").start();
    ASSERT_TRUE(connectFirst());
    std::string cut = firmwareFile("1.7.0.2");
    loadText(cut.erase(cut.rfind(":00"), 11));
    press(FlashPanel::ID_FLASH);
    ASSERT_EQ(answers_.boxes().size(), 2u);
    EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("is not a valid Tarvane Firmware File"));
    EXPECT_EQ(answers_.boxes()[1].text, "Please select a Firmware File");
    load("1.7.0.2");
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(waitFor([this] { return answers_.boxes().size() == 3 && !flash_->hasJob(); }));
    EXPECT_EQ(answers_.boxes()[2].title, "Error");
    EXPECT_EQ(answers_.boxes()[2].text, "Error occurred during write");
    // No page of the flash was written yet: the device starts the firmware that it had.
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(status(1), "Firmware Version: 01.06.00.00");
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(FlashPage, CanBeStopped) {
    platform::setPauseScale(0.1);  // nobody answers
    const auto plugged = simulated().option("--no-firmware").fault("silent-greetings=1000").start();
    ASSERT_TRUE(listed(1));
    load("1.7.0.2");
    answers_.next(wxID_YES);
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(waitFor([] { return progress() != nullptr; }));
    wxWindow* const stop = progress()->FindWindow(wxID_CANCEL);
    ASSERT_NE(stop, nullptr);
    EXPECT_EQ(stop->GetLabel(), "&Stop");
    send(wxEVT_BUTTON, stop);
    ASSERT_TRUE(waitFor([this] { return answers_.boxes().size() == 2 && !flash_->hasJob(); }));
    EXPECT_EQ(progress(), nullptr);
    EXPECT_TRUE(toolEnabled(ID_RESET));
    EXPECT_EQ(answers_.boxes()[1].text, "Could not connect to Firmware");  // it has none
}

TEST_F(FlashPage, AsksBeforeItFlashesWhatIsForAnotherTarget) {
    const auto plugged = simulated().option("--description").option("Something else").start();
    ASSERT_TRUE(connectFirst());
    load("1.7.0.2");
    EXPECT_THAT(verdict(), HasSubstr("another target"));
    answers_.next(wxID_NO);
    press(FlashPanel::ID_FLASH);
    EXPECT_EQ(answers_.boxes().size(), 1u);
    EXPECT_FALSE(flash_->hasJob());
    EXPECT_EQ(status(2), "Connected");
}

}  // namespace
}  // namespace kovgui
