// The remote interfaces editor's Scan button with the LAN choices, offscreen,
// against two simulated instruments on the private lab network: what lands
// in DevList and in the settings file, the status field, the hosts list of
// the broadcast, the address check, Cancel on the splash, and the mDNS
// choice without a daemon.
#include "../instrument_directory/dir_fixture.h"
#include "../ui/ui_fixtures.h"
#include "app/context.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/mdns_browse.h"
#include "instrument_directory/remote_editor.h"
#include "ui/remote_editor_form.h"
#include "ui/splash.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace qv::dir;

const std::string kA = qvtest::kNetInstruments[0];  // 10.77.0.2
const std::string kB = qvtest::kNetInstruments[1];  // 10.77.0.3

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class EditorLanScan : public testing::Test {
protected:
    void SetUp() override {
        QV_REQUIRE_PRIVATE_NET();
        qvtest::App();
        qvtest::loadShippedTables();
        qv::app::context().IniFilePath = ini;
        ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n"));
        std::string error;
        ASSERT_TRUE(sim.start(qvtest::labInstrumentArgs(), &error))
            << error;
        resolver.reverse[kB] = "bench-b";
        ResetRecords();
        editor = std::make_unique<qv::ui::VISARscEditor_new>(qv::app::context());
        editor->UpdateList("");
        editor->show();
    }
    void TearDown() override {
        editor.reset();
        qv::app::context().SplashCancelled = false;
        // The splash fades out on timers; the next test starts without it.
        EXPECT_TRUE(qvtest::WaitFor([] { return !splashStanding(); }));
    }
    static bool splashStanding() {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (qobject_cast<qv::ui::SplashForm*>(w) && w->isVisible()) return true;
        return false;
    }

    template <class T>
    T* child(const char* name) const {
        T* w = editor->findChild<T*>(name);
        EXPECT_NE(w, nullptr) << name;
        return w;
    }
    void scanWith(int choice) {
        child<QComboBox>("cmbInterfaceScan")->setCurrentIndex(choice);
        child<QPushButton>("imgScan")->click();
    }
    void setFields(const std::vector<std::string>& fields) {
        for (int i = 0; i < 4; ++i)
            child<QLineEdit>(("txtIPScan" + std::to_string(i)).c_str())->setText(QString::fromStdString(fields[size_t(i)]));
    }
    std::vector<std::string> rows() const {
        std::vector<std::string> out;
        for (const EditorRow& r : ReadDeviceRows(ini)) out.push_back(r.value);
        return out;
    }
    std::vector<std::string> listLines() const {
        std::vector<std::string> out;
        QListWidget* list = editor->devList();
        for (int i = 0; i < list->count(); ++i) out.push_back(list->item(i)->text().toStdString());
        return out;
    }
    std::string status() const { return child<QPlainTextEdit>("txtResourceScan")->toPlainText().toStdString(); }

    qvtest::TempDir dir;
    std::string ini = dir.file("Quilvane.ini");
    qvtest::ScriptedHost host;
    qvtest::FakeResolver resolver;
    qvtest::SimProcess sim;
    std::unique_ptr<qv::ui::VISARscEditor_new> editor;
};

TEST_F(EditorLanScan, AnyAddsBothInstrumentsOnceAndListsTheBroadcastsHosts) {
    QPushButton* all = child<QPushButton>("lblAllDevices");
    EXPECT_TRUE(all->isHidden());
    scanWith(kScanChoiceAny);

    const std::vector<std::string> expected{"TKD|LAN|" + kA, "KDC|LAN|" + kB};
    EXPECT_EQ(rows(), expected);
    const std::vector<std::string> lines = listLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(contains(lines[0], "TKD") && contains(lines[0], "|LAN|" + kA)) << lines[0];
    EXPECT_TRUE(contains(lines[1], "KDC") && contains(lines[1], "|LAN|" + kB)) << lines[1];
    for (int i = 0; i < 2; ++i) EXPECT_EQ(editor->devList()->item(i)->checkState(), Qt::Checked);
    // Found and added are named in the status field, the host without a
    // name once there, and no box stopped the scan.
    EXPECT_TRUE(contains(status(), "2 instruments found, 2 added")) << status();
    EXPECT_TRUE(contains(status(), "No name found for " + kA)) << status();
    EXPECT_TRUE(host.messages().empty());
    EXPECT_TRUE(editor->isEnabled());

    ASSERT_FALSE(all->isHidden());
    EXPECT_EQ(all->text().toStdString(), kShowAllDevices);
    all->click();
    ASSERT_EQ(host.messages().size(), 1u);
    const std::string shown = host.messages()[0].text;
    EXPECT_TRUE(contains(shown, kA + "\n")) << shown;
    EXPECT_TRUE(contains(shown, kB + " (bench-b)")) << shown;

    // Both are configured now: a second broadcast finds them and adds nothing.
    scanWith(kScanChoiceAny);
    EXPECT_EQ(rows(), expected);
    EXPECT_EQ(listLines().size(), 2u);
    EXPECT_TRUE(contains(status(), "Already configured: " + kA + ", " + kB)) << status();
    EXPECT_FALSE(all->isHidden());
}

// The four fields joined: "*" in the fourth walks the subnet, a number
// there is that one host.
struct SubnetCase {
    const char* fourth;
    std::vector<std::string> rows;
};
void PrintTo(const SubnetCase& c, std::ostream* os) { *os << "fourth field \"" << c.fourth << "\""; }
class EditorSubnetScan : public EditorLanScan, public testing::WithParamInterface<SubnetCase> {};

TEST_P(EditorSubnetScan, TheFieldsNameWhatIsWalked) {
    setFields({"10", "77", "0", GetParam().fourth});
    scanWith(kScanChoiceSubnet);
    EXPECT_EQ(rows(), GetParam().rows);
    EXPECT_EQ(listLines().size(), GetParam().rows.size());
    EXPECT_TRUE(host.messages().empty());
    // The broadcast's hosts list belongs to "LAN (any)".
    EXPECT_TRUE(child<QPushButton>("lblAllDevices")->isHidden());
}

INSTANTIATE_TEST_SUITE_P(Fields, EditorSubnetScan,
                         testing::Values(SubnetCase{"*", {"TKD|LAN|10.77.0.2", "KDC|LAN|10.77.0.3"}},
                                         SubnetCase{" 3 ", {"KDC|LAN|10.77.0.3"}}));

class EditorBadSubnet : public EditorLanScan, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(EditorBadSubnet, ShowsTheMessageAndScansNothing) {
    ASSERT_FALSE(splashStanding());
    setFields(GetParam());
    scanWith(kScanChoiceSubnet);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text, kIpAreaInvalid);
    EXPECT_TRUE(rows().empty());
    EXPECT_TRUE(listLines().empty());
    // No splash was left standing over a disabled window.
    EXPECT_TRUE(editor->isEnabled());
    EXPECT_FALSE(splashStanding());
}

INSTANTIATE_TEST_SUITE_P(Fields, EditorBadSubnet,
                         testing::Values(std::vector<std::string>{"10", "*", "0", "*"},
                                         std::vector<std::string>{"10", "77", "0", "256"},
                                         std::vector<std::string>{"10", "77", "", "*"},
                                         std::vector<std::string>{"10", "77", "0", "2,3"}));

TEST_F(EditorLanScan, CancelOnTheSplashEndsTheWalk) {
    // The user presses Cancel as soon as the splash stands.
    QTimer presser;
    int pressed = 0;
    QObject::connect(&presser, &QTimer::timeout, [&] {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            auto* splash = qobject_cast<qv::ui::SplashForm*>(w);
            if (!splash || !splash->isVisible() || pressed) continue;
            if (auto* cancel = splash->findChild<QPushButton*>("cmdCancel"); cancel && cancel->isVisible()) {
                cancel->click();
                ++pressed;
            }
        }
    });
    presser.start(5);
    setFields({"10", "77", "0", "*"});
    scanWith(kScanChoiceSubnet);
    presser.stop();

    EXPECT_EQ(pressed, 1);
    EXPECT_TRUE(rows().empty());
    EXPECT_TRUE(contains(status(), "Cancelled.")) << status();
    EXPECT_TRUE(editor->isEnabled());
}

TEST_F(EditorLanScan, MdnsWithoutTheDaemonSaysWhatItNeeds) {
    // The lab network has a /run of its own: no Avahi daemon answers there.
    scanWith(kScanChoiceMdns);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_TRUE(contains(host.messages()[0].text, kMdnsNeedsDaemon)) << host.messages()[0].text;
    EXPECT_TRUE(contains(status(), "avahi-daemon")) << status();
    EXPECT_TRUE(rows().empty());
    EXPECT_TRUE(editor->isEnabled());
}

}  // namespace
