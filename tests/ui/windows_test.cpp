// The smaller windows: progress splash, failure report, name resolver and
// the remote interfaces editor handing a new search to the main window.
#include "app/debug.h"
#include "instrument_directory/host_names.h"
#include "scripted_host.h"
#include "ui/error_form.h"
#include "ui/ip_resolve.h"
#include "ui/main_form.h"
#include "ui/remote_editor_form.h"
#include "ui/splash.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>

#include <gtest/gtest.h>

using qvtest::App;
using qvtest::FakeSource;
using qvtest::LogicEnv;
using qvtest::ScriptedHost;
using qvtest::WaitFor;

TEST(SplashForm, CancelSetsTheFlagAndValuesAbove100AreIgnored) {
    App();
    qv::app::context() = qv::app::AppContext{};
    QWidget main;
    main.show();
    qv::app::context().SplashCancelled = true;
    QPointer<qv::ui::SplashForm> s = new qv::ui::SplashForm(&main);
    s->ShowSplash(true);
    EXPECT_FALSE(qv::app::context().SplashCancelled);  // cleared on show
    EXPECT_FALSE(main.isEnabled());
    s->SplashSetProgessBar(40);
    s->SplashSetProgessBar(101);
    EXPECT_EQ(s->Progress(), 40);
    auto* cancel = s->findChild<QPushButton*>("cmdCancel");
    ASSERT_NE(cancel, nullptr);
    EXPECT_FALSE(cancel->isHidden());
    cancel->click();
    EXPECT_TRUE(qv::app::context().SplashCancelled);
    s->ReadyToWork();
    EXPECT_TRUE(main.isEnabled());
    EXPECT_TRUE(WaitFor([&] { return s.isNull(); }, 3000));  // faded out and gone
}

TEST(ErrorForm, FailureReportsReachTheWindowAndItsCopyButton) {
    App();
    LogicEnv env;
    ScriptedHost host;
    FakeSource src;
    qv::ui::MainForm form(qv::app::context(), src);
    qv::app::ErrorReport r;
    r.Source = "Hardcopy.GetHardcopy";
    r.Number = 255;
    r.Description = "Block ended early";
    r.Stack = {{"Hardcopy", "", "GetHardcopy", ""}};
    qv::app::DisplayError(r);  // through the handler the main window set
    auto* ef = form.findChild<qv::ui::ErrorForm*>("ErrorForm");
    ASSERT_NE(ef, nullptr);
    EXPECT_TRUE(host.messages().empty());  // no fallback message box
    auto* text = ef->findChild<QPlainTextEdit*>("txtReport");
    ASSERT_NE(text, nullptr);
    EXPECT_TRUE(text->toPlainText().contains("Block ended early"));
    auto* copy = ef->findChild<QPushButton*>("cmdCopy");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->text(), "&Copy to clipboard");
    copy->click();
    EXPECT_NE(host.clipboard.find("Block ended early"), std::string::npos);
    ASSERT_FALSE(host.messages().empty());
    EXPECT_EQ(host.messages().back().text, "Support informations copied to clipboard.");
}

namespace {
class TableResolver : public qv::dir::Resolver {
public:
    bool nameToAddress(const std::string& name, std::string& dotted) override {
        if (name != "lab7") return false;
        dotted = "10.1.2.3";
        return true;
    }
    bool addressToName(const std::string& dotted, uint16_t, bool, std::string& name) override {
        if (dotted != "10.1.2.3") return false;
        name = "lab7";
        return true;
    }
};
}  // namespace

TEST(IPResolve, ResolvesBothWaysByTheChosenOption) {
    App();
    ScriptedHost host;
    TableResolver table;
    qv::dir::setResolver(&table);
    qv::ui::IPResolve w;
    w.input()->setText("lab7");
    w.Resolve();  // name to address is the default choice
    EXPECT_EQ(w.result()->text(), "10.1.2.3");
    w.addressToName()->setChecked(true);
    w.input()->setText("10.1.2.3");
    emit w.input()->returnPressed();
    EXPECT_EQ(w.result()->text(), "lab7");
    qv::dir::setResolver(nullptr);
}

TEST(RemoteInterfaces, AddedRowIsWrittenAndOkStartsANewSearch) {
    App();
    LogicEnv env;
    env.rows({{"Old|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.records = {{"Old|RAW|x (1)", "R0", "", "AAA"}};
    qv::ui::MainForm form(qv::app::context(), src);
    form.show();
    form.Start(env.user);
    ASSERT_TRUE(WaitFor([&] { return form.started(); }));
    ASSERT_EQ(src.scans, 1);

    form.action("MFileVISARsc")->trigger();
    auto* ed = form.findChild<qv::ui::VISARscEditor_new*>("VISARscEditor_new");
    ASSERT_NE(ed, nullptr);
    EXPECT_EQ(ed->devList()->count(), 1);
    ed->findChild<QComboBox*>("cmbInterface")->setCurrentText("RAW");
    ed->findChild<QComboBox*>("cmbInstrument")->setCurrentText("Bench");
    auto* res = ed->findChild<QLineEdit*>("txtResource");
    res->setText("   ");
    ed->addDevice();  // a blank resource adds nothing
    EXPECT_EQ(ed->devList()->count(), 1);
    res->setText("TCPIP0::10.0.0.9::5025::SOCKET");
    ed->addDevice();
    EXPECT_EQ(ed->devList()->count(), 2);
    EXPECT_EQ(env.read("DisplayNames", "Name2"), "Bench|RAW|TCPIP0::10.0.0.9::5025::SOCKET");
    ed->devList()->item(0)->setCheckState(Qt::Unchecked);

    src.records.push_back({"Bench|RAW|y (2)", "R1", "", "BBB"});
    ed->ok();
    ASSERT_TRUE(WaitFor([&] { return src.scans == 2; }));
    EXPECT_EQ(env.read("ScanEntries", "Value1"), "0");
    EXPECT_EQ(env.read("ScanEntries", "Value2"), "1");
    EXPECT_EQ(form.deviceList()->count(), 2);
    EXPECT_TRUE(WaitFor([&] { return form.mdiArea()->subWindowList().isEmpty(); }));
}
