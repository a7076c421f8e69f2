#include <gmock/gmock.h>
#include <wx/sizer.h>

#include "lib/device_cmd.h"
#include "src/Controls/OABRRegCheckBox.h"
#include "src/Controls/OABRRegComboBox.h"
#include "src/Controls/OABRRegRadioButton.h"
#include "src/Controls/TabbedPage.h"
#include "tests/gui/page_fixture.h"
#include "tests/support/linked_firmware.h"

namespace kovgui::controls {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr OABRControl::ValuePair colours[] = {{"red", 3}, {"green", 5}, {"also red", 3}};

/// What a control's bindings see; `value` is what the device holds.
struct Setting {
    int value = 0;
    bool answers = true;
    int reads = 0;
    std::vector<int> written;
    std::vector<int> stored;

    Binding binding() {
        return {[this](int* out) {
                    ++reads;
                    if (answers) *out = value;
                    return answers;
                },
                [this](int in) { written.push_back(in); },
                [this](int in) {
                    stored.push_back(in);
                    e2p_cfg_cmd_array* set = e2p_cfg_cmd_array_init(1, 1, 1);
                    const auto at = static_cast<uint16_t>(in);
                    get_cfg_cmd_mdio(set->switch_cfg.records, e2p_kind::or_mask, 6, 1, at);
                    get_cfg_cmd_mdio(set->phy1_cfg.records, e2p_kind::or_mask, 24, 1, at);
                    get_cfg_cmd_mdio(set->phy2_cfg.records, e2p_kind::or_mask, 25, 1, at);
                    return set;
                }};
    }
};

class Controls : public PageTest {
protected:
    template <typename Control, typename... Arguments>
    Control* make(int id, Arguments... arguments) {
        return new Control(page_, id, "Label", wxDefaultPosition, wxDefaultSize, arguments...);
    }
    OABRRegComboBox* makeChoice(int id) {
        auto* choice = make<OABRRegComboBox>(id);
        choice->Append(colours, 3);
        return choice;
    }

    OABRControlFrame* page_ = new OABRControlFrame(host_, "page");
    Setting setting_;
};

TEST_F(Controls, ACheckBoxHasTwoValuesAndIsCheckedForItsOnValueOnly) {
    auto* box = make<OABRRegCheckBox>(10, 7u, 2u);
    box->bind(setting_.binding());
    for (const int value : {7, 2, 7, 99}) {
        setting_.value = value;
        box->getValue();
        EXPECT_EQ(box->GetValue(), value == 7) << value;
        box->setValue();
        EXPECT_NE(box->storeValue(), nullptr);
    }
    EXPECT_THAT(setting_.written, ElementsAre(7, 2, 7, 2));
    EXPECT_THAT(setting_.stored, ElementsAre(7, 2, 7, 2));
}

TEST_F(Controls, ACheckBoxThatReadsNothingTakesZero) {
    auto* inverse = make<OABRRegCheckBox>(10, 0u, 1u);
    auto* plain = make<OABRRegCheckBox>(11, 1u, 0u);
    setting_.answers = false;
    plain->SetValue(true);
    plain->bind(setting_.binding());
    inverse->getValue();
    plain->getValue();
    EXPECT_TRUE(inverse->GetValue());
    EXPECT_FALSE(plain->GetValue());
}

TEST_F(Controls, AChoiceShowsTheFirstItemWithTheValueElseStaysAsItIs) {
    auto* choice = makeChoice(10);
    choice->bind(setting_.binding());
    choice->setValue();
    EXPECT_EQ(choice->storeValue(), nullptr) << "nothing is selected";
    const auto read = [&](int value) {
        setting_.value = value;
        choice->getValue();
        choice->setValue();
        EXPECT_NE(choice->storeValue(), nullptr);
        return choice->GetStringSelection();
    };
    EXPECT_EQ(read(5), "green");
    EXPECT_EQ(read(3), "red");
    EXPECT_EQ(read(4), "red");
    setting_.answers = false;
    EXPECT_EQ(read(5), "red");
    EXPECT_THAT(setting_.written, ElementsAre(5, 3, 3, 3));
    EXPECT_THAT(setting_.stored, ElementsAre(5, 3, 3, 3));
}

TEST_F(Controls, RadioButtonsActWhenTheyAreOnAndMayAllBeOff) {
    auto* first = make<OABRRegRadioButton>(10, static_cast<long>(wxRB_GROUP), 1);
    auto* second = make<OABRRegRadioButton>(11, 0l, 2);
    for (auto* button : {first, second})
        button->bind(setting_.binding());
    const auto read = [&](int value) {
        setting_.value = value;
        first->getValue();
        second->getValue();
        return std::pair(first->GetValue(), second->GetValue());
    };
    EXPECT_EQ(read(3), std::pair(false, false));
    EXPECT_EQ(first->storeValue(), nullptr);
    EXPECT_EQ(read(1), std::pair(true, false));
    EXPECT_EQ(read(2), std::pair(false, true));
    page_->SetAllRegisters();
    EXPECT_THAT(setting_.written, ElementsAre(2));
    EXPECT_EQ(read(9), std::pair(false, false));
}

// ---- Pages ----

TEST_F(Controls, APageWorksInTheOrderOfIdentifiers) {
    std::vector<int> order;
    for (const int id : {30, 10, 20}) {
        auto* box = make<OABRRegCheckBox>(id, 1u, 0u);
        box->bind({[&order, id](int*) {
                       order.push_back(id);
                       return true;
                   },
                   [&order, id](int) { order.push_back(-id); },
                   [&, id](int) {
                       setting_.value = id;
                       return setting_.binding().store(id);
                   }});
    }
    page_->OnValuesChanged();
    page_->ReadAllRegisters();
    page_->SetAllRegisters();
    page_->SetRegister(20);
    page_->SetRegister(99);
    EXPECT_THAT(order, ElementsAre(10, 20, 30, -10, -20, -30, -20));

    std::vector<e2p_cfg_cmd> lists[3];
    lists[0].resize(1);  // what stands there already stays
    page_->StoreAllRegisters(lists[0], lists[1], lists[2]);
    ASSERT_EQ(lists[0].size(), 4u);
    ASSERT_EQ(lists[1].size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(lists[0][i + 1].body[2], 10 * (i + 1));
        EXPECT_EQ(lists[1][i].body[0], 24);
        EXPECT_EQ(lists[2][i].body[0], 25);
    }
}

TEST_F(Controls, AnEditThatTheDeviceDoesNotTakeIsTakenBackAndMarked) {
    auto* choice = makeChoice(10);
    auto* line = choice->withSign();
    const auto sign = [line] { return line->GetItem(1)->GetWindow(); };
    Binding binding = setting_.binding();
    bool takes = false;
    binding.set = [&](int value) {
        if (takes) setting_.value = value;
    };
    choice->bind(binding);
    setting_.value = 3;
    connect(page_);
    page_->ReadAllRegisters();
    kovgui::PageTest::choose(page_, 10, "green");
    EXPECT_EQ(choice->GetStringSelection(), "red");
    EXPECT_TRUE(sign()->IsShown());
    EXPECT_EQ(choice->GetToolTipText(), "The device did not take \"green\".");
    EXPECT_FALSE(host_->changed);
    (void)choice->storeValue();
    EXPECT_THAT(setting_.stored, ElementsAre(3));
    takes = true;
    kovgui::PageTest::choose(page_, 10, "green");
    EXPECT_EQ(choice->GetStringSelection(), "green");
    EXPECT_FALSE(sign()->IsShown());
    EXPECT_TRUE(host_->changed);
    delete line;
}

TEST_F(Controls, ADestroyedControlOrPageIsForgotten) {
    auto* choice = makeChoice(10);
    choice->bind(setting_.binding());
    auto* other = new OABRControlFrame(host_, "other");
    EXPECT_THAT(OABRControlFrame::oabrControlFrames, ElementsAre(page_, other));
    choice->Destroy();
    other->Destroy();
    page_->SetAllRegisters();
    EXPECT_EQ(page_->control(10), nullptr);
    EXPECT_THAT(OABRControlFrame::oabrControlFrames, ElementsAre(page_));
}

TEST_F(Controls, ASilentDeviceCostsAPageOneTimeout) {
    LinkedFirmware device;
    device.answer = [](const Bytes&) { return std::vector<Bytes>(); };
    int calls = 0;
    for (int id = 10; id < 20; ++id) {
        makeChoice(id)->bind({[&calls](int* value) {
                                  ++calls;
                                  uint16_t read = 0;
                                  if (mdio_read(6, 1, &read) != 0) return false;
                                  *value = read;
                                  return true;
                              },
                              {},
                              {}});
    }
    page_->OnValuesChanged();
    page_->ReadAllRegisters();
    EXPECT_EQ(calls, 10);
    EXPECT_EQ(device.requests().size(), 1u);
    EXPECT_TRUE(page_->needsRead());

    device.answer = [&device](const Bytes& request) { return device.firmware(request); };
    page_->ReadAllRegisters();
    EXPECT_EQ(device.requests().size(), 11u);
    EXPECT_FALSE(page_->needsRead());
}

/// A page of two tabs, each with one setting.
class Tabs : public TabbedPage {
public:
    explicit Tabs(wxWindow* parent) : TabbedPage(parent, "tabs") {
        for (Setting& setting : settings) {
            auto* tab = new OABRControlFrame(notebook(), "tab");
            auto* choice = new OABRRegComboBox(tab, 10, "Label", wxDefaultPosition, wxDefaultSize);
            choice->bind(setting.binding());
            addTab(tab, "Tab");
        }
    }
    OABRControlFrame* tab(size_t i) { return static_cast<OABRControlFrame*>(notebook()->GetPage(i)); }
    void select(size_t i) { notebook()->SetSelection(i); }
    Setting settings[2];
};

TEST_F(Controls, ATabIsReadOncePerConnectWhenItIsSeen) {
    page_->Destroy();
    auto* tabs = new Tabs(host_);
    tabs->Hide();
    host_->Show();
    const auto reads = [tabs] {
        drainEvents();
        return std::pair(tabs->settings[0].reads, tabs->settings[1].reads);
    };
    const auto connectBoth = [&] {
        for (size_t i : {0u, 1u})
            connect(tabs->tab(i));
    };
    EXPECT_FALSE(tabs->tab(0)->IsThisEnabled());
    connectBoth();
    EXPECT_TRUE(tabs->tab(0)->IsThisEnabled());
    EXPECT_EQ(reads(), std::pair(0, 0));
    tabs->Show();
    EXPECT_EQ(reads(), std::pair(1, 0));
    for (const size_t tab : {1u, 0u, 1u})
        tabs->select(tab), drainEvents();
    EXPECT_EQ(reads(), std::pair(1, 1));
    connectBoth();  // the one that is seen at once
    EXPECT_EQ(reads(), std::pair(1, 2));
    disconnect(tabs->tab(0));
    EXPECT_FALSE(tabs->tab(0)->IsThisEnabled());
    tabs->select(0);
    EXPECT_EQ(reads(), std::pair(1, 2)) << "a disconnect drops the pending read";
    EXPECT_THAT(host_->activities, SizeIs(3));
}

}  // namespace
}  // namespace kovgui::controls
