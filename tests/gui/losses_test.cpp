// The window on a simulated firmware in the process: what the next start changes.

#include <gmock/gmock.h>

#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/cli/interpreter.h"
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
