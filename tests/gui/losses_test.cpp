// The window on a simulated firmware in the process: what the next start changes.

#include <gmock/gmock.h>

#include <future>

#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/cli/interpreter.h"
#include "src/window/NoticeBar.h"
#include "src/window/StoreSign.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/host/model_device.h"

namespace kovgui {
namespace {

class Losses : protected SimulatedLink, public MainWindow {
protected:
    Losses() {
        frame_->announceConnected();
        EXPECT_TRUE(connectedTo("Connected"));
        drainEvents();
    }
    void change(int id) {
        auto* const choice = static_cast<wxChoice*>(find<PortConfigPanel>()->FindWindow(id));
        choice->SetSelection(1 - choice->GetSelection());
        send(wxEVT_CHOICE, choice, choice->GetSelection());
    }
    bool says(const std::string& text) {
        return waitFor([&] { return sign_->text() == text && menuEnabled(ID_LOSSES); });
    }
    void answer(int result) {
        answers_.next([this, result](wxDialog* dialog) {
            heads_.push_back(label("lossHead", dialog));
            return result;
        });
    }

    std::string notice() {
        return static_cast<NoticeBar*>(frame_->FindWindow("notice"))->text().utf8_string();
    }
    /// @return what the window says when the first byte is about to be written
    std::string storeWhileWatched() {
        std::string said;
        unanswered = [&](const Bytes& request) {
            if (request[1] != msg_cmd::e2p_write || !said.empty()) return false;
            std::promise<std::string> shown;
            frame_->CallAfter([&] { shown.set_value(notice()); });
            said = shown.get_future().get();
            return false;
        };
        answers_.next(wxID_YES);  // a device without a serial number has no journal
        command(*frame_, ID_STORE);
        unanswered = nullptr;
        return said;
    }

    StoreSign* const sign_ = static_cast<StoreSign*>(wxWindow::FindWindowByName("storeIndicator", frame_));
    std::vector<std::string> heads_;
};

TEST_F(Losses, AreCountedAndListedAndWhatAStoreLeavesIsShownBeforeIt) {
    change(PortConfigPanel::ID_OABR1_SPEED);
    EXPECT_TRUE(says("1 setting will be lost at power-off"));
    EXPECT_TRUE(indicatorShown());
    change(PortConfigPanel::ID_OABR1_FLOW);
    EXPECT_TRUE(says("2 settings will be lost at power-off"));
    answer(wxID_CANCEL);
    command(*frame_, ID_LOSSES);
    change(PortConfigPanel::ID_OABR1_FLOW);
    EXPECT_TRUE(says("1 setting will be lost at power-off"));

    // A register of which no record is made.
    cli::runLine(cli::consoleCommands(), "sreg 131=1");
    EXPECT_TRUE(says("2 settings will be lost at power-off"));
    answer(wxID_CANCEL);
    command(*frame_, ID_STORE);
    EXPECT_TRUE(indicatorShown());
    EXPECT_THAT(heads_, testing::ElementsAre("2 settings will be lost at power-off. After this store: none.",
                                             "2 settings will be lost at power-off. After this store: 1."));
    cli::runLine(cli::consoleCommands(), "sreg 131=0");
    EXPECT_THAT(storeWhileWatched(), "Storing. 1 setting will be lost at power-off. After this store: none.");
    EXPECT_THAT(notice(), testing::EndsWith("read back. Nothing will be lost at power-off."));

    comm_set_second(100);
    silent = true;
    command(*frame_, ID_LOSSES);
    silent = false;
    comm_set_second(1000);
    ASSERT_FALSE(answers_.boxes().empty());
    EXPECT_THAT(answers_.boxes().back().text, testing::StartsWith("The device did not answer."));
}

}  // namespace
}  // namespace kovgui
