// The console's history in the settings file: what is saved comes back, the
// newest hundred only, and a shorter list saved later leaves no tail behind.
#include "app/context.h"
#include "app/settings.h"
#include "test_support.h"

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

Lines loadFrom(const std::string& ini) {
    qv::app::AppContext ctx;
    ctx.IniFilePath = ini;
    qv::app::SetLoadSave(1, ctx);
    return ctx.ConsoleHistory;
}

TEST(ConsoleHistorySettings, SavesTheNewestHundredAndShrinks) {
    qvtest::TempDir dir;
    qv::app::AppContext ctx;
    ctx.IniFilePath = dir.file("Quilvane.ini");
    for (int i = 0; i < 130; ++i) ctx.ConsoleHistory.push_back("FREQ " + std::to_string(i));
    qv::app::SetLoadSave(2, ctx);
    Lines back = loadFrom(ctx.IniFilePath);
    ASSERT_EQ(back.size(), qv::app::kConsoleHistoryLimit);
    EXPECT_EQ(back.front(), "FREQ 30");
    EXPECT_EQ(back.back(), "FREQ 129");

    // What a console line may hold: separators of SCPI and of the file, and
    // duplicates; a blank entry would end the list and a line end cannot be
    // stored, so those are left out.
    ctx.ConsoleHistory = {"*RST;*WAI", "MMEM:CAT? 'D:\\a=b'", " ", "A\nB", "*RST;*WAI"};
    qv::app::SaveConsoleHistory(ctx);
    EXPECT_EQ(loadFrom(ctx.IniFilePath), (Lines{"*RST;*WAI", "MMEM:CAT? 'D:\\a=b'", "*RST;*WAI"}));

    qv::app::SetLoadSave(0, ctx);
    EXPECT_TRUE(ctx.ConsoleHistory.empty());
    EXPECT_TRUE(loadFrom(dir.file("missing.ini")).empty());
}

}  // namespace
