#include <gmock/gmock.h>

#include <set>

#include "lib/ksz.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

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

TEST_F(WithDevice, UnplugReplugAndResetAreFollowed) {
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_THAT(status(0).utf8_string(), StartsWith("Hardware Version: "));
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
    ASSERT_TRUE(connectFirst());
    EXPECT_THAT(page_->heard, ElementsAre(ID_DEVICE_CONNECTED, ID_DEVICE_DISCONNECTED, ID_DEVICE_CONNECTED));
    command(*frame_, ID_RESET);
    ASSERT_TRUE(waitFor([this] { return page_->heard.size() == 5; }));
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_THAT(answers_.boxes(), IsEmpty());
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

TEST_F(WithDevice, AStoreLetsNobodyEditAndClearsTheIndicator) {
    edit();
    EXPECT_TRUE(indicatorShown());
    EXPECT_EQ(store(), "");
    EXPECT_FALSE(page_->open_to_edits);
    frame_->Close();
    EXPECT_THAT(answers_.boxes(), IsEmpty());
    frame_ = nullptr;
    drainEvents();
}

TEST_F(WithDevice, AStoreThatTheDeviceDoesNotKeepIsNoSuccess) {
    edit();
    fault("e2p-most=2");
    EXPECT_THAT(store(), HasSubstr("differ from those written"));
    EXPECT_TRUE(indicatorShown());
}

TEST_F(WithDevice, AFailedConnectShowsThatNothingIsConnected) {
    frame_->ConnectToDevice("OKVX9999");
    ASSERT_THAT(answers_.boxes(), testing::SizeIs(1));
    EXPECT_EQ(answers_.boxes()[0].text, "Cannot connect to Device");
    ASSERT_TRUE(connectedTo("Not connected"));
    EXPECT_FALSE(toolEnabled(ID_STORE));
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
    wxWindow* const edited = *changed.begin();
    change(edited);
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
}

}  // namespace
}  // namespace kovgui
