#include <gmock/gmock.h>
#include <wx/button.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/timer.h>

#include <atomic>

#include "src/ConfigDlg/DynamicMacTab.h"
#include "src/Controls/row_list.h"
#include "src/Controls/table_job.h"
#include "src/OABR-Switch/device_use.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {
namespace {

using controls::runTableJob;
using controls::TableJobResult;
using oabr::DynamicMacList;
using testing::ElementsAre;
using testing::HasSubstr;

void send(wxEventType type, wxWindow* from) {
    wxCommandEvent event(type, from->GetId());
    event.SetEventObject(from);
    from->ProcessWindowEvent(event);
}

wxWindow* progressDialog() {
    wxWindow* dialog = wxWindow::FindWindowByName("tableJob");
    return dialog != nullptr && dialog->IsShown() ? dialog : nullptr;
}

/// Looks on again and again while a job runs.
class WhileItRuns {
public:
    explicit WhileItRuns(std::function<void()> look) : look_(std::move(look)) {
        timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
            ++ticks;
            look_();
        });
        timer_.Start(10);
    }
    /// Presses the stop button as soon as there is one.
    static void stop() {
        if (wxWindow* dialog = progressDialog()) send(wxEVT_BUTTON, dialog->FindWindow(wxID_CANCEL));
    }
    int ticks = 0;

private:
    const std::function<void()> look_;
    wxTimer timer_;
};

// ---- The job ----

class TableJob : public MainWindow {
protected:
    /// A step that takes a few milliseconds.
    bool step(int number) {
        inOrder_ = inOrder_ && number == done_;
        ++done_;
        return !never_.wait(3);
    }
    TableJobResult run(int steps = 300) {
        return runTableJob(frame_, "Testing", steps, [this](int number) { return step(number); });
    }

    platform::Event never_;
    std::atomic<int> done_{0};
    std::atomic<bool> inOrder_{true};
};

TEST_F(TableJob, TheWindowPaintsAndTakesNoInputMeanwhile) {
    int paints = 0;
    bool enabled = false, shown = false, held = true;
    frame_->FindWindow("pages")->Bind(wxEVT_PAINT, [&paints](wxPaintEvent& event) {
        ++paints;
        event.Skip();
    });
    WhileItRuns look([&] {
        if (!controls::tableJobRuns()) return;
        enabled = enabled || frame_->IsEnabled();
        shown = shown || progressDialog() != nullptr;
        held = held && oabr::DeviceUse::user() == "testing";
        frame_->Refresh();
    });
    EXPECT_EQ(run(), TableJobResult::finished);
    EXPECT_EQ(done_, 300);
    EXPECT_TRUE(inOrder_);
    EXPECT_GT(look.ticks, 10);
    EXPECT_GT(paints, 5);
    EXPECT_TRUE(shown);
    EXPECT_TRUE(held);
    EXPECT_FALSE(enabled);
    EXPECT_TRUE(frame_->IsEnabled());
    EXPECT_EQ(progressDialog(), nullptr);
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(TableJob, StopsFailsAndStandsAlone) {
    TableJobResult nested = TableJobResult::finished;
    {
        WhileItRuns look([&] {
            if (controls::tableJobRuns()) nested = run();
            WhileItRuns::stop();
        });
        EXPECT_EQ(run(), TableJobResult::stopped);
    }
    EXPECT_LT(done_, 300);
    EXPECT_EQ(nested, TableJobResult::failed);
    int steps = 0;
    EXPECT_EQ(runTableJob(frame_, "Testing", 9, [&steps](int) { return ++steps < 3; }),
              TableJobResult::failed);
    EXPECT_EQ(steps, 3);
    EXPECT_EQ(runTableJob(frame_, "Testing", 0, [](int) { return false; }), TableJobResult::finished);
}

TEST_F(TableJob, AWindowThatClosesStopsItAndGoesAfterwards) {
    bool refused = true;
    {
        WhileItRuns look([&] {
            if (!controls::tableJobRuns()) return;
            if (refused) refused = !frame_->Close();
            if (!refused) ADD_FAILURE() << "closed under the job";
        });
        EXPECT_EQ(run(), TableJobResult::stopped);
    }
    drainEvents();
    EXPECT_FALSE(closed());
    {
        WhileItRuns look([&] {
            if (controls::tableJobRuns()) frame_->Close(true);
        });
        EXPECT_EQ(run(), TableJobResult::stopped);
    }
    EXPECT_TRUE(waitFor([this] { return closed(); }));
    frame_ = nullptr;
}

// ---- The tabs, on a simulated device ----

class ChipTables : public MainWindow {
protected:
    ChipTables() {
        mac_ = new DynamicMacTab(own_);
        own_->Show();
        EXPECT_TRUE(connectFirst());
    }
    std::string label(const wxWindow* tab, const char* name) {
        return wxWindow::FindWindowByName(name, tab)->GetLabel().utf8_string();
    }

    sim_process::Device device_ = sim_process::SimulatedDevice("OKVX0001")
                                      .in(std::getenv("OABR_VIRTUAL_DEVICES"))
                                      .speed("fast")
                                      .turnaround(std::chrono::milliseconds(3))
                                      .quiet()
                                      .start();
    wxFrame* own_ = new wxFrame(frame_, wxID_ANY, "tabs", wxDefaultPosition, wxSize(800, 600));
    DynamicMacTab* mac_ = nullptr;
};

class DynamicMacPage : public ChipTables {
protected:
    void hear(int stations) {
        for (int i = 0; i < stations; ++i) {
            char line[80];
            std::snprintf(line, sizeof line, "receive %d ff:ff:ff:ff:ff:ff 02:00:00:00:00:%02x", i % 4 + 1,
                          i);
            ASSERT_EQ(device_.control(line).substr(0, 2), "ok");
        }
    }
    void refresh() { send(wxEVT_BUTTON, mac_->FindWindow(DynamicMacTab::ID_REFRESH)); }
    controls::RowList* list() {
        return static_cast<controls::RowList*>(mac_->FindWindow(DynamicMacTab::ID_LIST));
    }
    void clickColumn(int column) {
        wxListEvent event(wxEVT_LIST_COL_CLICK, DynamicMacTab::ID_LIST);
        event.m_col = column;
        list()->ProcessWindowEvent(event);
    }
    std::string status() { return label(mac_, "dynamicMacStatus"); }
    std::string cell(long row, int column) { return list()->GetItemText(row, column).utf8_string(); }
};

TEST_F(DynamicMacPage, ReadsSortsFiltersAndCopies) {
    EXPECT_THAT(status(), HasSubstr("0 of 0 entries"));
    refresh();
    EXPECT_EQ(status(), "0 of 0 entries. ");
    hear(5);
    refresh();
    EXPECT_EQ(status(), "5 of 5 entries. ");
    EXPECT_EQ(cell(0, DynamicMacList::mac_column), "02:00:00:00:00:00");
    EXPECT_EQ(cell(3, DynamicMacList::port_column), "OABR2");
    clickColumn(DynamicMacList::mac_column);
    EXPECT_EQ(cell(0, DynamicMacList::mac_column), "02:00:00:00:00:04") << "the second click turns it round";
    static_cast<wxTextCtrl*>(mac_->FindWindow(DynamicMacTab::ID_FILTER))->SetValue("usb");
    EXPECT_EQ(status(), "2 of 5 entries. ");
    list()->selectOnly(1);
    mac_->copy();
    const std::string copied = controls::clipboardText().utf8_string();
    EXPECT_EQ(copied, "02:00:00:00:00:00\t0\tUSB\t" + cell(1, DynamicMacList::age_column) + "\n");
    EXPECT_FALSE(mac_->needsRead()) << "a store would read it";
}

TEST_F(DynamicMacPage, KeepsWhatWasReadBeforeAStopOrASilence) {
    hear(200);
    {
        WhileItRuns look([] { WhileItRuns::stop(); });
        refresh();
    }
    EXPECT_THAT(status(), HasSubstr("Stopped: these are not all."));
    EXPECT_GT(mac_->rows().total(), 0u);
    EXPECT_LT(mac_->rows().total(), 200u);
    ASSERT_EQ(device_.control("fault silent").substr(0, 2), "ok");
    refresh();
    EXPECT_EQ(status(), "0 of 0 entries. The device does not answer: these are not all.");
}

}  // namespace
}  // namespace kovgui
