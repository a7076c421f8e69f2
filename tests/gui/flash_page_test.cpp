#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <numeric>

#include "src/FlashDlg/FlashPanel.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using testing::HasSubstr;

/// An Intel HEX record of 16 bytes at most.
std::string record(size_t address, const std::string& bytes, int type = 0) {
    std::string text = {static_cast<char>(bytes.size()), static_cast<char>(address >> 8),
                        static_cast<char>(address), static_cast<char>(type)};
    text += bytes;
    text += static_cast<char>(-std::accumulate(text.begin(), text.end(), 0));
    std::string hex = ":";
    for (const char byte : text)
        hex += wxString::Format("%02X", static_cast<unsigned char>(byte)).utf8_string();
    return hex + "\n";
}

/// A firmware file whose program says which version it is.
std::string firmwareFile(const std::string& version, size_t size) {
    std::string program = "OABR_FW v" + version + " 2024/05/06";
    program.resize(size, 'x');
    std::string hex;
    for (size_t at = 0; at < program.size(); at += 16)
        hex += record(at, program.substr(at, 16));
    hex += record(0, "", 1);
    return "[Version]\nTR_SYSTEM = OABR_Korvex\nBL_VERSION = v2a1b\nBUILD_VERSION = v" + version +
           "\nBUILD_DATUM = 2024/05/06\n[Program]\nhex = \"" + hex + "\"\n";
}

/// The firmware page of the window, with a simulated device in the directory that the program watches.
class FlashPage : public ConnectedWindow {
protected:
    FlashPage() { platform::setPauseScale(1); }  // a bootloader answers in its own time

    void load(const std::string& version, size_t size = 512) {
        const std::string path = std::string(std::getenv("HOME")) + "/firmware.iff";
        std::ofstream(path) << firmwareFile(version, size);
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
    const auto plugged = simulated().start();
    ASSERT_TRUE(connectFirst());
    load("1.7.0.2");
    EXPECT_THAT(verdict(), HasSubstr("newer"));
    page_->heard.clear();
    press(FlashPanel::ID_FLASH);
    EXPECT_EQ(oabr::DeviceUse::user(), "the firmware update");
    ASSERT_TRUE(waitFor([] { return progress() != nullptr; }));
    EXPECT_FALSE(toolEnabled(ID_RESET));
    ASSERT_TRUE(told());
    EXPECT_EQ(answers_.boxes()[0].title, "Succeed");
    EXPECT_EQ(answers_.boxes()[0].text, "Device successfully flashed");
    EXPECT_EQ(progress(), nullptr);
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(status(1), "Firmware Version: 01.07.00.02");
    EXPECT_THAT(page_->heard, testing::ElementsAre(ID_DEVICE_DISCONNECTED, ID_DEVICE_CONNECTED));
    EXPECT_THAT(verdict(), HasSubstr("that the device runs"));
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(FlashPage, RecoversADeviceThatSitsInItsBootloader) {
    const auto plugged = simulated().option("--no-firmware").start();
    ASSERT_TRUE(listed(1));
    load("1.7.0.3");
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(told());
    EXPECT_EQ(answers_.boxes()[0].text, "Device successfully flashed");
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(status(1), "Firmware Version: 01.07.00.03");
}

TEST_F(FlashPage, SaysWhatFailed) {
    const auto plugged = simulated().fault("reject-record=5").start();
    ASSERT_TRUE(connectFirst());
    load("1.7.0.2");
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(told());
    EXPECT_EQ(answers_.boxes()[0].title, "Error");
    EXPECT_EQ(answers_.boxes()[0].text, "Error occurred during write");
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
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(waitFor([] { return progress() != nullptr; }));
    wxWindow* const stop = progress()->FindWindow(wxID_CANCEL);
    ASSERT_NE(stop, nullptr);
    EXPECT_EQ(stop->GetLabel(), "&Stop");
    send(wxEVT_BUTTON, stop);
    ASSERT_TRUE(told());
    EXPECT_EQ(progress(), nullptr);
    EXPECT_TRUE(toolEnabled(ID_RESET));
    EXPECT_EQ(answers_.boxes()[0].text, "Could not connect to Firmware");  // it has none
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
