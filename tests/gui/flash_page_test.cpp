#include <gmock/gmock.h>
#include <wx/progdlg.h>
#include <wx/stattext.h>

#include <cstdlib>
#include <fstream>

#include "src/FlashDlg/FlashPanel.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/OABR-Switch/device_use.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {
namespace {

using oabr::OABRDevice;
using testing::HasSubstr;

/// An Intel HEX record of 16 bytes at most.
std::string record(unsigned address, const std::string& bytes, unsigned type = 0) {
    unsigned sum = static_cast<unsigned>(bytes.size()) + (address >> 8) + (address & 0xFF) + type;
    char head[16];
    std::snprintf(head, sizeof head, ":%02X%04X%02X", static_cast<unsigned>(bytes.size()), address, type);
    std::string text = head;
    const auto append = [&text](unsigned byte) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", byte & 0xFF);
        text += digits;
    };
    for (const char c : bytes) {
        sum += static_cast<unsigned char>(c);
        append(static_cast<unsigned char>(c));
    }
    append(0x100 - (sum & 0xFF));
    return text + "\n";
}

/// A firmware file whose program says which version it is.
std::string firmwareFile(const std::string& version, size_t size) {
    std::string program = "OABR_FW v" + version + " 2024/05/06";
    program.resize(size, 'x');
    std::string hex;
    for (size_t at = 0; at < program.size(); at += 16)
        hex += record(static_cast<unsigned>(at), program.substr(at, 16));
    hex += record(0, "", 1);
    return "[Version]\nTR_SYSTEM = OABR_Korvex\nBL_VERSION = v2a1b\nBUILD_VERSION = v" + version +
           "\nBUILD_DATUM = 2024/05/06\n[Program]\nhex = \"" + hex + "\"\n";
}

/// The firmware page of the window, with a simulated device in the directory that the program watches.
class FlashPage : public MainWindow {
protected:
    FlashPage() { platform::setPauseScale(1); }  // a bootloader answers in its own time

    static sim_process::SimulatedDevice device() {
        return sim_process::SimulatedDevice().in(std::getenv("OABR_VIRTUAL_DEVICES")).speed("fast").quiet();
    }
    FlashPanel* flashPage() {
        for (auto* page : controls::OABRControlFrame::oabrControlFrames) {
            if (auto* found = dynamic_cast<FlashPanel*>(page)) return found;
        }
        return nullptr;
    }
    void load(const std::string& version, size_t size = 512) {
        const std::string path = std::string(std::getenv("HOME")) + "/firmware.iff";
        std::ofstream(path) << firmwareFile(version, size);
        flashPage()->loadFile(path);
    }
    void press(int id) {
        wxWindow* button = flashPage()->FindWindow(id);
        ASSERT_TRUE(button->IsEnabled());
        wxCommandEvent event(wxEVT_BUTTON, id);
        button->GetEventHandler()->ProcessEvent(event);
    }
    bool told() {
        return waitFor([this] { return !answers_.boxes().empty() && !flashPage()->hasJob(); });
    }
    static wxWindow* progress() {
        for (wxWindow* window : wxTopLevelWindows) {
            if (window->GetLabel() == "Progress dialog") return window;
        }
        return nullptr;
    }
    static std::string verdict(wxWindow* page) {
        return static_cast<wxStaticText*>(wxWindow::FindWindowByName("verdict", page))
            ->GetLabelText()
            .utf8_string();
    }
};

TEST_F(FlashPage, FlashesTheConnectedDeviceAndConnectsToItAgain) {
    const auto plugged = device().start();
    ASSERT_TRUE(connectFirst());
    load("1.7.0.2");
    EXPECT_THAT(verdict(flashPage()), HasSubstr("newer"));
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
    EXPECT_THAT(verdict(flashPage()), HasSubstr("that the device runs"));
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(FlashPage, RecoversADeviceThatSitsInItsBootloader) {
    const auto plugged = device().option("--no-firmware").start();
    ASSERT_TRUE(listed(1));
    load("1.7.0.3");
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(told());
    EXPECT_EQ(answers_.boxes()[0].text, "Device successfully flashed");
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(status(1), "Firmware Version: 01.07.00.03");
}

TEST_F(FlashPage, SaysWhatFailed) {
    const auto plugged = device().fault("reject-record=5").start();
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
    const auto plugged = device().option("--no-firmware").fault("silent-greetings=1000").start();
    ASSERT_TRUE(listed(1));
    load("1.7.0.2");
    press(FlashPanel::ID_FLASH);
    ASSERT_TRUE(waitFor([] { return progress() != nullptr; }));
    wxWindow* const stop = progress()->FindWindow(wxID_CANCEL);
    ASSERT_NE(stop, nullptr);
    EXPECT_EQ(stop->GetLabel(), "&Stop");
    wxCommandEvent event(wxEVT_BUTTON, wxID_CANCEL);
    event.SetEventObject(stop);
    stop->GetEventHandler()->ProcessEvent(event);
    ASSERT_TRUE(told());
    EXPECT_EQ(progress(), nullptr);
    EXPECT_TRUE(toolEnabled(ID_RESET));
    EXPECT_EQ(answers_.boxes()[0].text, "Could not connect to Firmware");  // it has none
}

TEST_F(FlashPage, AsksBeforeItFlashesWhatIsForAnotherTarget) {
    const auto plugged = device().option("--description").option("Something else").start();
    ASSERT_TRUE(connectFirst());
    load("1.7.0.2");
    EXPECT_THAT(verdict(flashPage()), HasSubstr("another target"));
    answers_.next(wxID_NO);
    press(FlashPanel::ID_FLASH);
    EXPECT_EQ(answers_.boxes().size(), 1u);
    EXPECT_FALSE(flashPage()->hasJob());
    EXPECT_EQ(status(2), "Connected");
}

}  // namespace
}  // namespace kovgui
