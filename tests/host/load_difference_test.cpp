// What a file would change, as rows to pick from.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/port_config.h"
#include "src/models/load_difference.h"
#include "src/models/settings_records.h"
#include "tests/support/random_settings.h"

namespace kovgui::settings {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using State = LoadDifference::State;

LoadedFile fileOf(const std::string& text) {
    LoadedFile file{parseSetUp(text), {}, ""};
    file.sortErrors();
    return file;
}

/// A device that holds the settings, as far as records can.
DeviceImage holding(const Settings& settings) {
    DeviceImage image = imageOf(listsOf(settings));
    image.can = canBlockOf(settings, oabr::defaultCanBlock());
    return image;
}

std::vector<std::string> rowsIn(const LoadDifference& rows, State state) {
    std::vector<std::string> paths;
    for (const auto& row : rows.rows())
        if (row.state == state) paths.push_back(row.setting);
    return paths;
}

RC_GTEST_PROP(LoadDifference, HasTheRowsOfThePlanAndPicksFromThem, ()) {
    const DeviceImage image = holding(*genSettings({.all = true}));
    Settings wanted = *genSettings();
    wanted.whole_vlans = *rc::gen::arbitrary<bool>();
    wanted.whole_macs = *rc::gen::arbitrary<bool>();
    const Settings stored = *genSettings();
    const Plan plan = planOf(image, wanted, &stored);
    LoadDifference rows({{wanted, "", "", {}, {}, {}}, {}, ""}, settingsOf(image), plan.difference, stored);

    size_t differing = 0, same = 0;
    for (const auto& row : rows.rows()) {
        same += row.state == State::same;
        if (row.state != State::differs) continue;
        ++differing;
        const auto change = std::ranges::find(plan.difference.changes, row.setting, &Change::path);
        RC_ASSERT(change != plan.difference.changes.end());
        RC_ASSERT(row.now == change->from && row.file == change->to && row.stored == change->stored);
    }
    RC_ASSERT(differing == plan.difference.changes.size());
    RC_ASSERT(same == static_cast<size_t>(plan.difference.unchanged));
    RC_ASSERT(rows.isShownBy(planOf(image, rows.wanted()).difference));

    for (size_t i = 0; i < rows.rows().size(); ++i)
        if (*rc::gen::arbitrary<bool>()) rows.tick(i, false);
    const std::vector<std::string> idle = rows.withoutEffect();
    for (size_t i = 0; i < rows.rows().size(); ++i)
        if (std::ranges::find(idle, rows.rows()[i].setting) != idle.end()) rows.tick(i, false);
    RC_ASSERT(rows.isShownBy(planOf(image, rows.wanted()).difference));
    const SetUp saved = parseSetUp(tomlText(rows.wanted(), Removals::named));
    RC_ASSERT(saved.errors.empty());
    RC_ASSERT(saved.settings == rows.wanted());
}

TEST(LoadDifference, CountsAndLeavesOutAPageWithSomethingUnknown) {
    Settings now;
    now.port(port_oabr1).speed = 0;
    now.port(port_oabr1).role = 0;
    now.mirror_to = 0;
    now.vlan_enabled = 0;
    const auto shown = [&](const LoadedFile& file) {
        return LoadDifference(file, now, differenceOf(now, file.set_up.settings), {});
    };
    LoadedFile file = fileOf(
        "[ports.OABR1]\nspeed = 100\nrole = \"slave\"\n[mirror]\nto = \"USB\"\n"
        "[vlan]\nenabled = true\nenabeld = true\n[prots]\n");
    const LoadDifference rows = shown(file);
    EXPECT_EQ(rows.headLine(), "File: 6 settings, 2 differ, 2 unknown, 2 cannot be changed");
    EXPECT_THAT(rowsIn(rows, State::differs), ElementsAre("/ports/OABR1/speed", "/mirror/to"));
    EXPECT_THAT(rowsIn(rows, State::fixed), ElementsAre("/ports/OABR1/role", "/vlan/enabled"));
    EXPECT_THAT(rowsIn(rows, State::unknown), ElementsAre("/vlan/enabeld", "/prots"));
    EXPECT_THAT(rows.rows()[3].note, HasSubstr("Did you mean \"enabled\"?"));
    EXPECT_EQ(rows.ticked(), 2u);

    EXPECT_EQ(panelsIn(file), (PanelChoice{true, true, true, false}));
    keepPanels({false, true, false, false}, &file);
    EXPECT_EQ(shown(file).headLine(), "File: 2 settings, 1 differs, 1 unknown, 0 cannot be changed");
    EXPECT_THAT(fileOf("format = 2\n[mirror\n").error, HasSubstr("line 2: "));
    EXPECT_THAT(fileOf("[device]\nfirmware = 7\n").error, HasSubstr("line 2: /device/firmware"));
}

TEST(LoadDifference, SaysWhichRowsNeedAnother) {
    Settings now, wanted;
    now.mirror_to = port_oabr1;
    now.port(port_oabr1).mirror_from = 0;
    wanted.mirror_to = port_usb;
    wanted.port(port_oabr1).mirror_from = sniff_value_both;
    LoadDifference rows({{wanted, "", "", {}, {}, {}}, {}, ""}, now, differenceOf(now, wanted), {});
    EXPECT_THAT(rows.withoutEffect(), IsEmpty());
    rows.tick(1, false);
    EXPECT_THAT(rows.withoutEffect(), ElementsAre("/mirror/from/OABR1"));
}

TEST(LoadDifference, OfTwoFilesShowsWhatOnlyOneHolds) {
    const LoadedFile first = fileOf("[ports.USB]\nspeed = 10\nduplex = \"full\"\n[can]\nmode = \"sleep\"\n");
    const LoadedFile second = fileOf(
        "[ports.USB]\nspeed = 100\nduplex = \"full\"\n"
        "[[vlan.entry]]\nvid = 5\nfid = 5\nmembers = [\"USB\", \"OABR1\"]\n");
    const LoadDifference rows = LoadDifference::ofFiles(first, second);
    EXPECT_EQ(rows.headLine(), "Files: 4 settings, 2 differ, 0 unknown, 1 cannot be saved");
    EXPECT_THAT(rowsIn(rows, State::fixed), ElementsAre("/can/mode"));
    EXPECT_EQ(shownValue(rows.rows()[2].file), "fid 5, members (USB, OABR1)");
}

}  // namespace
}  // namespace kovgui::settings
