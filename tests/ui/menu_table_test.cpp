// The menus the window builds from the menu table: every entry where the
// table puts it, and its enabled state for the masks of a few families.
#include "app/functions_mask.h"
#include "app/menu_table.h"
#include "scripted_host.h"
#include "ui/big_button.h"
#include "ui/main_form.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

#include <gtest/gtest.h>

using qv::app::MenuEntry;
using qv::app::MenuId;
using qv::app::MenuKind;
using qv::app::MenuNeed;
using qvtest::App;
using qvtest::FakeSource;
using qvtest::LogicEnv;
using qvtest::ScriptedHost;
using qvtest::WaitFor;

namespace {

std::string EntryName(const ::testing::TestParamInfo<MenuEntry>& info) { return info.param.control; }

class BuiltEntry : public ::testing::TestWithParam<MenuEntry> {};

TEST_P(BuiltEntry, StandsInItsMenuWithItsCaptionAndPlace) {
    App();
    FakeSource src;
    qv::ui::MainForm form(qv::app::context(), src);
    const MenuEntry& e = GetParam();
    QAction* a = form.action(e.control);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a, form.action(e.id));
    EXPECT_EQ(a->objectName().toStdString(), e.control);
    EXPECT_EQ(a->text().toStdString(), e.caption);
    EXPECT_EQ(a->isCheckable(), e.kind == MenuKind::Check);
    EXPECT_EQ(a->menu() != nullptr, e.kind == MenuKind::Submenu);

    QMenu* parent = form.menu(e.group);
    ASSERT_NE(parent, nullptr);
    const QList<QAction*> siblings = parent->actions();
    const qsizetype at = siblings.indexOf(a);
    ASSERT_GE(at, 0) << "not in its menu " << parent->objectName().toStdString();
    EXPECT_EQ(at > 0 && siblings[at - 1]->isSeparator(), e.separatorBefore);
}

INSTANTIATE_TEST_SUITE_P(MenuTable, BuiltEntry, ::testing::ValuesIn(qv::app::MenuEntries().begin(),
                                                                    qv::app::MenuEntries().end()),
                         EntryName);

TEST(MenuBar, TopMenusInOrderAndThePopupsOutsideIt) {
    App();
    FakeSource src;
    qv::ui::MainForm form(qv::app::context(), src);
    std::vector<std::string> bar;
    for (QAction* a : form.menuBar()->actions()) bar.push_back(a->menu()->objectName().toStdString());
    EXPECT_EQ(bar, (std::vector<std::string>{"MFile", "MNew", "MUtil", "MWin", "MHelp"}));
    for (QMenu* popup : {form.traceMenu(), form.instFileMenu()}) {
        ASSERT_NE(popup, nullptr);
        EXPECT_FALSE(form.menuBar()->actions().contains(popup->menuAction()));
    }
    EXPECT_EQ(form.traceMenu()->objectName(), "TraceMenu");
    EXPECT_EQ(form.instFileMenu()->objectName(), "InstFileMenu");
    // The skins exclude each other.
    form.action(MenuId::WindowSkins1)->trigger();
    form.action(MenuId::WindowSkins3)->trigger();
    EXPECT_FALSE(form.action(MenuId::WindowSkins1)->isChecked());
    EXPECT_TRUE(form.action(MenuId::WindowSkins3)->isChecked());
}

// A family of the test data and its FUNCTIONS mask (ui_fixtures.h).
struct Family {
    const char* tag;
    int16_t mask;
    bool report = false;  // the family has the demodulation result report
};

void PrintTo(const Family& f, std::ostream* os) { *os << f.tag; }
class EnabledByMask : public ::testing::TestWithParam<Family> {};

TEST_P(EnabledByMask, EveryEntryAndBigButtonFollowsItsNeed) {
    App();
    LogicEnv env;
    env.rows({{"A|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.records = {{"Bench|RAW|x (1.0)", "R0", "", GetParam().tag}};
    qv::ui::MainForm form(qv::app::context(), src);
    form.show();
    form.Start(env.user);
    ASSERT_TRUE(WaitFor([&] { return form.started(); }));
    ASSERT_EQ(qv::app::context().CapabilityMask, GetParam().mask);

    for (const MenuEntry& e : qv::app::MenuEntries()) {
        bool expected = true;
        if (e.need == MenuNeed::Capability) expected = (GetParam().mask & e.bit) != 0;
        if (e.need == MenuNeed::DemodulationReport) expected = GetParam().report;
        EXPECT_EQ(form.action(e.id)->isEnabled(), expected) << e.control;
    }
    for (auto b : {qv::app::BigButton::Hardcopy, qv::app::BigButton::Trace, qv::app::BigButton::FilesInstr,
                   qv::app::BigButton::Tables, qv::app::BigButton::Scripts})
        EXPECT_EQ(form.bigButton(b)->available(), form.action(qv::app::BigButtonEntry(b))->isEnabled());
}

INSTANTIATE_TEST_SUITE_P(Families, EnabledByMask,
                         ::testing::Values(Family{"AAA", 1}, Family{"BBB", 6}, Family{"ALL", 63}, Family{"ZZZ", 0},
                                           Family{"TKM", 0, true}, Family{"TKD", 0}),
                         [](const ::testing::TestParamInfo<Family>& info) { return std::string(info.param.tag); });

}  // namespace
