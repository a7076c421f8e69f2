#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wx/textctrl.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <thread>

#include "lib/e2p.h"
#include "lib/ksz.h"
#include "lib/port_config.h"
#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/cli/OKVXConsole.h"
#include "src/cli/interpreter.h"
#include "src/window/StartHint.h"
#include "src/window/remembered.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using oabr::OABRDevice;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/// A command of a console that has the device, on a thread of its own.
class CommandElsewhere {
public:
    explicit CommandElsewhere(const char* name) {
        std::promise<void> took;
        auto taken = took.get_future();
        thread_ = std::thread([name, until = over_.get_future(), &took] {
            const auto use = oabr::DeviceUse::takeHere(name);
            took.set_value();
            until.wait();
        });
        taken.wait();
    }
    ~CommandElsewhere() {
        over_.set_value();
        thread_.join();
    }

private:
    std::promise<void> over_;
    std::thread thread_;
};

TEST_F(ConnectedWindow, TheChooserFollowsWhatComesAndGoes) {
    auto first = simulated("OKVX0001").start();
    ASSERT_TRUE(listed(1));
    auto second = simulated("OKVX0000").start();
    ASSERT_TRUE(listed(2));
    EXPECT_EQ(chooser()->GetSelection(), wxNOT_FOUND);
    choose(1);
    ASSERT_TRUE(connectedTo("Connected"));
    second.unplug();
    ASSERT_TRUE(listed(1));
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_EQ(status(2), "Connected");
}

TEST_F(ConnectedWindow, ASingleDeviceIsConnectedToAsItAppearsWhereThatIsWanted) {
    wxWindow* const hint = frame_->FindWindow("startHint");
    EXPECT_TRUE(hint->IsShown());
    EXPECT_THAT(label("startHintText", hint), HasSubstr("Plug a device in"));
    setDeviceName("OKVX0001", "Rack 3");
    send(wxEVT_CHECKBOX, hint->FindWindow(StartHint::ID_CONNECT_ALONE), 1);
    auto first = simulated("OKVX0001").start();
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(chooser()->GetStringSelection(), "Rack 3 (OKVX0001)");
    EXPECT_FALSE(hint->IsShown());
    EXPECT_EQ(lastDevice(), "OKVX0001");
}

TEST_F(WithDevice, UnplugReplugAndResetAreFollowed) {
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_THAT(status(0).utf8_string(), StartsWith("Hardware Version: "));
    frame_->GetToolBar()->OnMouseEnter(ID_STORE);
    EXPECT_THAT(status(0).utf8_string(), StartsWith("Hardware Version: ")) << "with the mouse over a tool";
    EXPECT_EQ(status(1), "Firmware Version: 01.06.00.00");
    EXPECT_TRUE(toolEnabled(ID_STORE));
    EXPECT_TRUE(menuEnabled(ID_STORE));
    device_.unplug();
    ASSERT_TRUE(connectedTo("Not connected"));
    ASSERT_TRUE(listed(0));
    EXPECT_FALSE(toolEnabled(ID_STORE));
    EXPECT_TRUE(toolEnabled(ID_RESET));
    EXPECT_TRUE(toolEnabled(ID_CONSOLE));
    EXPECT_EQ(status(0) + status(1), "");
    device_.plug();
    ASSERT_TRUE(connectedTo("Connected")) << "by itself";
    drainEvents();
    EXPECT_THAT(page_->heard, ElementsAre(ID_DEVICE_CONNECTED, ID_DEVICE_DISCONNECTED, ID_DEVICE_CONNECTED));
    command(*frame_, ID_RESET);
    ASSERT_TRUE(waitFor([this] { return page_->heard.size() == 5; }));
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_THAT(answers_.boxes(), IsEmpty());
}

// ---- Settings that are not stored ----

class Unstored : public WithDevice {
protected:
    Unstored() : control_(changeable(true).front()), before_(shown()) {
        change(control_);
        changed_ = shown();
        EXPECT_TRUE(indicatorShown());
        EXPECT_TRUE(waitFor([this] { return toolEnabled(ID_RESET); }));
    }
    std::string shown() const {
        return dynamic_cast<controls::OABRControl*>(control_)->shownText().utf8_string();
    }
    bool shows(const std::string& value) {
        return waitFor([&] { return connectedTo("Connected") && shown() == value; });
    }
    void cyclePower() {
        ASSERT_EQ(device_.control("power-off").substr(0, 2), "ok");
        ASSERT_TRUE(connectedTo("Not connected"));
        ASSERT_EQ(device_.control("power-on").substr(0, 2), "ok");
    }

    wxWindow* control_;
    std::string before_, changed_;
};

TEST_F(Unstored, AreOfferedToTheDeviceThatWentAway) {
    answers_.next(wxID_CANCEL);
    answers_.next(wxID_YES);
    cyclePower();
    ASSERT_TRUE(shows(before_)) << "later";
    EXPECT_FALSE(indicatorShown());
    device_.unplug();
    ASSERT_TRUE(connectedTo("Not connected"));
    device_.plug();
    ASSERT_TRUE(shows(changed_)) << "sent again";
    EXPECT_TRUE(indicatorShown());
    ASSERT_THAT(answers_.boxes(), SizeIs(2));
    EXPECT_THAT(answers_.boxes()[1].text, StartsWith("1 change was not stored: send it again?\n" +
                                                     control_->GetName().utf8_string() + " "));
    device_.unplug();  // the cable alone
    ASSERT_TRUE(connectedTo("Not connected"));
    device_.plug();
    ASSERT_TRUE(shows(changed_));
    EXPECT_TRUE(indicatorShown());
    EXPECT_THAT(answers_.boxes(), SizeIs(2)) << "nothing was lost";
}

TEST_F(Unstored, AreNotLostUnasked) {
    answers_.next(wxID_NO);
    command(*frame_, ID_RESET);
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_EQ(shown(), changed_);
    EXPECT_TRUE(indicatorShown());
    answers_.next(wxID_HELP);
    command(*frame_, ID_RESET);
    ASSERT_TRUE(waitFor([this] { return !indicatorShown(); })) << "stored";
    ASSERT_TRUE(shows(changed_));
    EXPECT_THAT(answers_.boxes(), SizeIs(2));
}

TEST_F(WithDevice, ResetReachesADeviceThatIsNotConnected) {
    ASSERT_EQ(ksz_set_sniff(2, sniff_receive), 1);  // as long as the device runs
    frame_->DisconnectFromDevice();
    ASSERT_TRUE(connectedTo("Not connected"));
    command(*frame_, ID_RESET);
    ASSERT_TRUE(connectedTo("Connected"));
    uint8_t bits = 0xFF;
    ASSERT_EQ(ksz_get_sniff(2, &bits), 1);
    EXPECT_EQ(bits, 0);
}

TEST_F(WithDevice, AStoreLetsNobodyEditAndTheIndicatorSaysHowItEnded) {
    edit();
    EXPECT_TRUE(indicatorShown());
    fault("e2p-most=0");
    EXPECT_THAT(store(), HasSubstr("may hold only a part"));
    EXPECT_TRUE(indicatorShown());
    fault("none");
    EXPECT_EQ(store(), "");
    EXPECT_FALSE(page_->open_to_edits);
    const size_t asked = answers_.boxes().size();
    frame_->Close();
    EXPECT_THAT(answers_.boxes(), SizeIs(asked));
    frame_ = nullptr;
    drainEvents();
}

TEST_F(WithDevice, AFailedConnectShowsThatNothingIsConnected) {
    frame_->ConnectToDevice("OKVX9999");
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_THAT(answers_.boxes()[0].text, StartsWith("Cannot connect to Device\nThere is no such device."));
    ASSERT_TRUE(connectedTo("Not connected"));
    EXPECT_FALSE(toolEnabled(ID_STORE));
}

// ---- Others at the device ----

TEST_F(WithDevice, AnEditWhileACommandHasTheDeviceIsToldAndTakenBack) {
    wxWindow* const control = changeable(true).front();
    const wxString before = dynamic_cast<controls::OABRControl*>(control)->shownText();
    {
        const CommandElsewhere command("the console command test");
        const size_t requests = device_.journal(R"("event":"request")").size();
        change(control);
        ASSERT_THAT(answers_.boxes(), testing::SizeIs(1));
        EXPECT_THAT(answers_.boxes()[0].text,
                    StartsWith("The device is in use by the console command test."));
        EXPECT_FALSE(indicatorShown());
        EXPECT_EQ(device_.journal(R"("event":"request")").size(), requests);
    }
    EXPECT_TRUE(
        waitFor([&] { return dynamic_cast<controls::OABRControl*>(control)->shownText() == before; }));
}

TEST_F(WithDevice, AnEditOnASilentDeviceIsSaidAndLeavesTheWindowPainting) {
    auto* const control = dynamic_cast<controls::OABRControl*>(changeable(true).front());
    const wxString before = control->shownText();
    int ticks = 0;
    wxTimer timer;
    timer.Bind(wxEVT_TIMER, [&ticks](wxTimerEvent&) { ++ticks; });
    fault("silent");
    timer.Start(20);
    change(changeable(true).front());
    EXPECT_GT(ticks, 10);
    EXPECT_EQ(control->shownText(), before);
    EXPECT_FALSE(indicatorShown());
    EXPECT_TRUE(connectedTo("The device does not answer"));
    fault("none");
    EXPECT_TRUE(connectedTo("Connected"));
    EXPECT_TRUE(waitFor([] { return !find<PortConfigPanel>()->needsRead(); }));
    EXPECT_EQ(control->shownText(), before);
}

TEST_F(WithDevice, EditsAreTakenBackAndMadeAgainByKey) {
    auto* const page = find<PortConfigPanel>();
    const auto speed = [page] { return page->control(PortConfigPanel::ID_OABR1_SPEED)->shownText(); };
    const auto menu = [this](int id) { return frame_->GetMenuBar()->FindItem(id)->GetItemLabelText(); };
    const auto key = [](char letter) { wxUIActionSimulator().Char(letter, wxMOD_CONTROL); };
    EXPECT_FALSE(menuEnabled(wxID_UNDO));
    const wxString before = speed();
    page->FindWindow(PortConfigPanel::ID_OABR1_SPEED)->SetFocus();
    change(page->FindWindow(PortConfigPanel::ID_OABR1_SPEED));
    const wxString after = speed();
    EXPECT_TRUE(waitFor([&] { return menu(wxID_UNDO) == "Undo: OABR1 speed " + after; }));

    // The key belongs to a text that is being typed.
    auto* const can = find<CanSettingsPanel>();
    bringToFront(can);
    ASSERT_TRUE(waitFor([can] { return !can->needsRead(); }));
    auto* const text =
        static_cast<wxTextCtrl*>(can->FindWindow(CanSettingsPanel::idOf(oabr::CanField::filter1)));
    const wxString filter = text->GetValue();
    text->SetFocus();
    ASSERT_TRUE(waitFor([text] { return text->HasFocus(); }));
    wxUIActionSimulator().Char('1');
    ASSERT_TRUE(waitFor([text] { return text->IsModified(); }));
    key('Z');
    drainEvents();
    EXPECT_TRUE(menuEnabled(wxID_UNDO));
    text->ChangeValue(filter);
    wxUIActionSimulator().Char('1', wxMOD_CONTROL);
    ASSERT_TRUE(waitFor([page] { return page->IsShownOnScreen(); }));

    key('Z');
    EXPECT_TRUE(waitFor([&] { return speed() == before; }));
    EXPECT_TRUE(waitFor([&] { return menuEnabled(wxID_REDO); }));
    EXPECT_FALSE(menuEnabled(wxID_UNDO));
    key('Y');
    EXPECT_TRUE(waitFor([&] { return speed() == after; }));

    // A value that the console has changed since is left alone.
    EXPECT_TRUE(waitFor([&] { return menuEnabled(wxID_UNDO); }));
    ASSERT_EQ(OABR1_speed_set(before.StartsWith("100") ? 1 : 0), 1);
    key('Z');
    EXPECT_TRUE(waitFor([&] { return !answers_.boxes().empty(); }));
    EXPECT_THAT(answers_.boxes().back().text,
                StartsWith("Nothing was written: the device holds something else"));
    EXPECT_TRUE(waitFor([&] { return speed() == before; })) << "it shows what the device has";
    EXPECT_FALSE(menuEnabled(wxID_UNDO));

    change(page->FindWindow(PortConfigPanel::ID_OABR1_SPEED));
    EXPECT_TRUE(waitFor([&] { return menuEnabled(wxID_UNDO); }));
    device_.unplug();
    ASSERT_TRUE(connectedTo("Not connected"));
    EXPECT_FALSE(menuEnabled(wxID_UNDO));
}

TEST_F(WithDevice, ALossThatWasNoticedAsAJobBeganLeavesItsConnectionAlone) {
    {
        const auto job = oabr::DeviceUse::take("the firmware update");
        frame_->GetEventHandler()->QueueEvent(
            new wxThreadEvent(wxEVT_THREAD, wxEVT_COMMAND_CONNECTION_INTERRUPTED));
        drainEvents();
        EXPECT_TRUE(OABRDevice::instance()->isFirmwareConnected());
    }
    device_.unplug();
    EXPECT_TRUE(connectedTo("Not connected"));  // it goes on looking
}

TEST_F(WithDevice, AResetByTheConsoleHasThePagesReadAgain) {
    edit();
    ASSERT_TRUE(indicatorShown());
    std::thread console([] { cli::runLine(cli::consoleCommands(), "reset"); });
    EXPECT_TRUE(waitFor([this] { return page_->heard.size() == 2; }));
    console.join();
    EXPECT_THAT(page_->heard, ElementsAre(ID_DEVICE_CONNECTED, ID_DEVICE_CONNECTED));
    EXPECT_TRUE(waitFor([this] { return !indicatorShown(); })) << "what was not stored is gone";
}

// ---- The end ----

/// The window with a device that falls silent while a console waits for it.
class EndWithAConsole : public WithDevice {
protected:
    EndWithAConsole() {
        // Not the terminal that the tests were started from.
        const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (terminal >= 0) ioctl(terminal, TIOCNOTTY);
        if (terminal >= 0) close(terminal);
    }
    ~EndWithAConsole() override { cli::OKVXConsole::stopAndWait(); }

    /// Presses Console where a terminal program does what the script says.
    void pressConsole(const std::string& script) {
        const std::string home = std::getenv("HOME");
        std::ofstream(home + "/xterm") << script;
        std::filesystem::permissions(home + "/xterm", std::filesystem::perms::owner_all);
        const std::string path = std::getenv("PATH");
        setenv("PATH", home.c_str(), 1);
        command(*frame_, ID_CONSOLE);
        setenv("PATH", path.c_str(), 1);
    }
    /// A terminal window where somebody types, and whose output nobody takes.
    void openTerminal(const std::string& typed) {
        pressConsole("#!/bin/sh\nprintf '4194314\\n" + typed + "' >&3\nexec /bin/sleep 1000\n");
        ASSERT_TRUE(cli::OKVXConsole::showOpen());
    }
    void expectClosed() {
        EXPECT_TRUE(waitFor([this] { return closed(); }));
        EXPECT_FALSE(cli::OKVXConsole::showOpen());
        EXPECT_FALSE(OABRDevice::instance()->isConnected());
        drainEvents();
        frame_ = nullptr;
    }
};

TEST_F(EndWithAConsole, ThatWaitsInATerminal) {
    openTerminal("");
    frame_->Close();
    expectClosed();
    EXPECT_THAT(answers_.boxes(), IsEmpty());
}

TEST_F(EndWithAConsole, ThatIsBusyInATerminal) {
    fault("silent");
    openTerminal("test mdio\\n");
    ASSERT_TRUE(waitFor([] { return oabr::DeviceUse::user() == "the console command test"; }));
    frame_->Close();
    EXPECT_FALSE(closed());
    ASSERT_THAT(answers_.boxes(), testing::SizeIs(1));
    EXPECT_THAT(answers_.boxes()[0].text, StartsWith("The device is in use by the console command test."));
    frame_->Close(true);
    expectClosed();
}

TEST_F(EndWithAConsole, ThatIsBusyInADialog) {
    pressConsole("#!/bin/sh\nexit 1\n");
    auto* const entry = static_cast<wxTextCtrl*>(wxWindow::FindWindowByName("cliEntry"));
    ASSERT_NE(entry, nullptr);
    fault("silent");
    entry->SetValue("ping");
    frame_->CallAfter([this] { frame_->Close(true); });
    send(wxEVT_TEXT_ENTER, entry);
    expectClosed();
}

TEST_F(WithDevice, WhatIsStoredComesBackAfterAPowerCycle) {
    showEveryPage();
    const Shown before = shownValues();
    std::set<wxWindow*> changed;
    for (int round = 0; round < 2; ++round) {  // what one setting enables is changed in the second one
        showEveryPage([&changed] {
            for (wxWindow* control : changeable(true)) {
                if (control->IsThisEnabled() && changed.insert(control).second) changeByKey(control);
            }
        });
    }
    Shown expected = shownValues();
    EXPECT_EQ(changed.size(), before.size() - 1);  // the port that is sniffed on has no mode
    for (const wxWindow* control : changed)
        EXPECT_NE(expected[keyOf(control)], before.at(keyOf(control))) << control->GetName();
    EXPECT_TRUE(indicatorShown());
    for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames) {
        page->OnValuesChanged();
        page->ReadAllRegisters();
    }
    EXPECT_EQ(shownValues(), expected) << "the device holds something else";
    EXPECT_EQ(store(), "");
    powerCycle(device_);

    // From here on no page is shown but the one that came up with the window.
    wxWindow* const edited = find<PortConfigPanel>()->FindWindow(PortConfigPanel::ID_OABR1_SPEED);
    const wxWindow* const sign = edited->GetNextSibling();
    change(edited);
    EXPECT_FALSE(sign->IsShown()) << "its page was not read";
    expected[keyOf(edited)] = dynamic_cast<controls::OABRControl*>(edited)->shownText();
    EXPECT_EQ(store(), "");
    powerCycle(device_);
    showEveryPage([] {
        for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames) {
            if (!page->IsEnabled() || !controls::isSeen(page)) continue;
            const bool comes = page->NavigateIn();
            EXPECT_TRUE(comes && !page->HasFocus())
                << page->GetName() << ": the tab key passes its controls by";
        }
    });
    EXPECT_EQ(shownValues(), expected);

    bringToFront(find<PortConfigPanel>());
    const std::string stored = "stored: " + expected[keyOf(edited)];
    EXPECT_FALSE(sign->IsShown());
    change(edited);
    EXPECT_TRUE(sign->IsShown());
    EXPECT_EQ(sign->GetToolTipText(), stored);
    EXPECT_TRUE(edited->GetToolTipText().EndsWith("\n" + stored));
    frame_->DisconnectFromDevice();
    EXPECT_TRUE(waitFor([sign] { return !sign->IsShown(); }));
    ASSERT_TRUE(connectFirst());
    EXPECT_TRUE(waitFor([sign] { return sign->IsShown(); })) << "the page was read";
    const std::array<uint8_t, 2> nothing = {0xFF, 0xFF};
    unsigned long count = nothing.size();
    ASSERT_EQ(e2p_write(e2p_switch_area.address, nothing.data(), &count), 0);  // as the console does
    EXPECT_TRUE(waitFor([sign] { return !sign->IsShown(); })) << "nothing is stored any more";
}

}  // namespace
}  // namespace kovgui
