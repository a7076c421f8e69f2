#include <gmock/gmock.h>
#include <wx/radiobut.h>
#include <wx/spinctrl.h>
#include <wx/textctrl.h>
#include <wx/timer.h>

#include <fstream>

#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/window/while_painting.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using oabr::CanField;
using oabr::CanForm;
using testing::HasSubstr;

/// The page in the window, connected to a simulated device.
class CanPage : public WithDevice {
protected:
    CanPage() {
        bringToFront(can_);
        EXPECT_TRUE(waitFor([this] { return !can_->needsRead(); }));
    }

    template <typename Control>
    Control* control(CanField field) {
        return dynamic_cast<Control*>(can_->FindWindow(CanSettingsPanel::idOf(field)));
    }
    std::string shown(CanField field) { return can_->form()[field]; }
    std::string label(const char* name) {
        return wxWindow::FindWindowByName(name, can_)->IsShown() ? WithDevice::label(name, can_) : "";
    }

    // As the operator does.
    void choose(CanField field, const char* text) {
        auto* choice = control<wxChoice>(field);
        ASSERT_TRUE(choice->SetStringSelection(text));
        send(wxEVT_CHOICE, choice);
    }
    void spin(CanField field, int value) {
        auto* entry = control<wxSpinCtrl>(field);
        entry->SetValue(value);
        wxSpinEvent event(wxEVT_SPINCTRL, entry->GetId());
        entry->ProcessWindowEvent(event);
    }
    void check(CanField field, bool on) {
        auto* box = control<wxCheckBox>(field);
        box->SetValue(on);
        send(wxEVT_CHECKBOX, box);
    }
    void type(CanField field, const char* text) {
        auto* entry = control<wxTextCtrl>(field);
        entry->SetValue(text);
        send(wxEVT_TEXT_ENTER, entry);
    }
    void press(int id) {
        wxWindow* button = wxWindow::FindWindowById(id);
        ASSERT_TRUE(button != nullptr && button->IsShown() && button->IsEnabled());
        send(wxEVT_BUTTON, button);
    }

    CanSettingsPanel* can_ = find<CanSettingsPanel>();
};

can_speed liveSpeed() {
    can_speed speed{};
    EXPECT_EQ(can_get_speed(&speed), 0);
    return speed;
}

TEST_F(CanPage, ARateIsSentAndDescribedAndTheExactSettingOffered) {
    EXPECT_EQ(shown(CanField::baud_rate), "500 kbit/s");
    EXPECT_EQ(label("canTiming"),
              "500000 bit/s, error 0.00 %, sample point 68.8 %, 16 TQ, CNF 0xC0 0xE4 0x04");
    EXPECT_EQ(label("canOffer"), "");
    choose(CanField::baud_rate, "50 kbit/s");
    EXPECT_EQ(liveSpeed().cnf1, 0xC6);
    EXPECT_TRUE(indicatorShown());
    EXPECT_EQ(
        label("canOffer") + label("canMessages"),
        "The setting misses 50 kbit/s by 3.90 %, the bus may fail; prescaler 8 with 20 TQ a bit meets it.");
    press(CanSettingsPanel::ID_USE_EXACT);
    EXPECT_EQ(liveSpeed().prescaler, 7);
    EXPECT_EQ(shown(CanField::baud_rate), "Custom");
    EXPECT_EQ(oabr::canTiming(liveSpeed()).rate, 50'000);
    EXPECT_EQ(label("canOffer") + label("canMessages"), "");
}

TEST_F(CanPage, NothingIsSentOrStoredWhileAFieldIsWrong) {
    const can_speed before = liveSpeed();
    spin(CanField::sync_jump, 2);
    EXPECT_EQ(liveSpeed().sync_jump_width, 1);
    spin(CanField::phase_segment2, 2);
    EXPECT_THAT(label("canMessages"), HasSubstr("longer than the sync jump width"));
    EXPECT_EQ(liveSpeed().phase_segment2, before.phase_segment2);
    EXPECT_THAT(can_->StoreBesideRecords().refusal, HasSubstr("longer than the sync jump width"));
    EXPECT_TRUE(indicatorShown());
    spin(CanField::sync_jump, 1);
    EXPECT_EQ(label("canMessages"), "");
    EXPECT_EQ(liveSpeed().phase_segment2, 1);
}

TEST_F(CanPage, WrongTextsAreNamedWhileTypingAndANumberFallsBack) {
    control<wxTextCtrl>(CanField::filter1)->SetValue("12G");
    EXPECT_THAT(label("canMessages"), HasSubstr("Filter 1: must be 1 to 8 hexadecimal digits"));
    type(CanField::filter1, "12");
    EXPECT_THAT(label("canMessages"), HasSubstr("bits 12 are not in the mask"));
    type(CanField::traffic_time, "70000");
    EXPECT_EQ(shown(CanField::traffic_time), "10");
    auto* prescaler = control<wxSpinCtrl>(CanField::prescaler);
    prescaler->SetValue("");
    send(wxEVT_TEXT, prescaler);
    EXPECT_THAT(label("canMessages"), HasSubstr("Prescaler: must be a whole number, 1 to 64"));
    EXPECT_EQ(label("canTiming"), "");
    prescaler->SetValue(64);  // what the toolkit makes of it when the field is left
    send(wxEVT_TEXT, prescaler);
    spin(CanField::prescaler, 64);
    EXPECT_TRUE(waitFor([&] { return shown(CanField::prescaler) == "1"; }));
    EXPECT_EQ(liveSpeed().prescaler, 0);
    check(CanField::extended_frames, false);
    control<wxTextCtrl>(CanField::filter2)->SetValue("800");
    EXPECT_THAT(label("canMessages"), HasSubstr("at most 7FF"));
}

TEST_F(CanPage, AChosenPhaseRuleTakesItsFieldsAway) {
    auto* longer = control<wxRadioButton>(CanField::larger_phase);
    longer->SetValue(true);
    send(wxEVT_RADIOBUTTON, longer);
    EXPECT_FALSE(control<wxSpinCtrl>(CanField::phase_segment2)->IsEnabled());
    EXPECT_FALSE(control<wxSpinCtrl>(CanField::phase_segment2)->UseForegroundColour())
        << "or it looks usable";
    EXPECT_EQ(liveSpeed().phase2_mode, 0);
}

TEST_F(CanPage, TheWindowPaintsWhileTheModeChanges) {
    bool painting = false;
    wxTimer timer;
    timer.Bind(wxEVT_TIMER,
               [&](wxTimerEvent&) { painting = painting || (workRuns() && !frame_->IsEnabled()); });
    timer.Start(10);
    choose(CanField::can_mode, "LISTENONLY");
    EXPECT_TRUE(painting) << "it takes a second";
    EXPECT_EQ(shown(CanField::can_mode), "LISTENONLY");
    EXPECT_EQ(label("canMessages"), "");
}

TEST_F(CanPage, ASilentDeviceIsNamedAndThePageStaysMarked) {
    fault("silent");
    choose(CanField::wakeup_mode, "CAN");
    EXPECT_THAT(label("canMessages"), HasSubstr("did not take: wake-up mode"));
    can_->OnValuesChanged();
    can_->ReadAllRegisters();
    EXPECT_TRUE(can_->needsRead());
    EXPECT_EQ(shown(CanField::wakeup_mode), "CAN");
}

// ---- Trace window ----

class CanTraceTest : public CanPage {
protected:
    CanTraceTest() {
        press(CanSettingsPanel::ID_TRACE);
        trace_ = traceWindow();
    }
    static CanTraceWindow* traceWindow() {
        return static_cast<CanTraceWindow*>(wxWindow::FindWindowByName("canTrace"));
    }
    bool records(size_t at_least) {
        return waitFor([=, this] { return trace_->log().shown() >= at_least; });
    }
    CanTraceWindow* trace_;
};

TEST_F(CanTraceTest, RecordsFiltersAndWritesAFile) {
    const sim_process::TemporaryDirectory directory;
    ASSERT_TRUE(trace_->record(directory.path() + "/run.log"));
    press(CanTraceWindow::ID_START);
    ASSERT_TRUE(records(6));
    press(CanTraceWindow::ID_START);
    trace_->stopRecord();
    const size_t all = trace_->log().shown();
    std::ifstream run(directory.path() + "/run.log");
    EXPECT_EQ(std::count(std::istreambuf_iterator<char>(run), {}, '\n'), static_cast<long>(all));
    EXPECT_GE(trace_->identifiers().size(), 2u);
    EXPECT_FALSE(trace_->record("/"));
    EXPECT_THAT(trace_->GetStatusBar()->GetStatusText(0).utf8_string(), HasSubstr("is a directory"));
    static_cast<wxTextCtrl*>(trace_->FindWindow(CanTraceWindow::ID_FILTER))->SetValue("18FF50E5");
    EXPECT_LT(trace_->log().shown(), all);
    EXPECT_EQ(trace_->identifiers().size(), 1u);
    ASSERT_EQ(trace_->save(directory.path() + "/trace.log"), "");
    std::ifstream file(directory.path() + "/trace.log");
    size_t lines = 0;
    for (std::string line; std::getline(file, line); ++lines)
        EXPECT_THAT(line, HasSubstr("can0 18FF50E5#"));
    EXPECT_GT(lines, 0u);
    EXPECT_EQ(lines, trace_->log().shown());
    EXPECT_NE(trace_->save(directory.path() + "/none/trace.log"), "");
    press(CanTraceWindow::ID_CLEAR);
    EXPECT_EQ(trace_->log().received(), 0u);
}

TEST_F(CanTraceTest, GoesOnAfterTheDeviceWasAway) {
    press(CanTraceWindow::ID_START);
    ASSERT_TRUE(records(2));
    device_.unplug();
    ASSERT_TRUE(connectedTo("Not connected"));
    drainEvents();
    const size_t kept = trace_->log().shown();
    EXPECT_GE(kept, 2u);
    EXPECT_THAT(trace_->GetStatusBar()->GetStatusText(0).utf8_string(), HasSubstr("Waiting for a device"));
    device_.plug();
    ASSERT_TRUE(connectFirst());
    EXPECT_TRUE(records(kept + 2));
}

TEST_F(CanTraceTest, GoesWithTheMainWindow) {
    press(CanTraceWindow::ID_START);
    ASSERT_TRUE(records(1));
    trace_->setControllerMode(0x20);
    EXPECT_THAT(trace_->GetStatusBar()->GetStatusText(0).utf8_string(), HasSubstr("sleeps"));
    trace_->Close();
    EXPECT_FALSE(trace_->IsShown());
    EXPECT_GE(trace_->log().shown(), 1u);
    frame_->Close();
    frame_ = nullptr;
    ASSERT_TRUE(waitFor([] { return traceWindow() == nullptr; }));
}

}  // namespace
}  // namespace kovgui
