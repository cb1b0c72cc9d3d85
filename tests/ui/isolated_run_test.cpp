// Foreign decoders run in a child: what the child hands back arrives, and a
// child that crashes, hangs or gives up costs a reason, never the program.
#include "ui/isolated_run.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

namespace {

struct ChildCase {
    const char* name;
    qv::ui::IsolatedRun::Work work;
    bool ok;
    const char* reasonHas;
};

class IsolatedRunChild : public ::testing::TestWithParam<ChildCase> {};

TEST_P(IsolatedRunChild, EndsWithTheResultOrAReason) {
    qv::ui::IsolatedRun run(1 << 20);
    std::string why;
    const auto start = std::chrono::steady_clock::now();
    const bool ok = run.run(1500, GetParam().work, why);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(ok, GetParam().ok) << why;
    EXPECT_LT(took, std::chrono::seconds(5));
    if (ok) {
        ASSERT_EQ(run.used(), 6u);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(run.data()), 6), "pixels");
    } else {
        EXPECT_NE(why.find(GetParam().reasonHas), std::string::npos) << why;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Children, IsolatedRunChild,
    ::testing::Values(
        ChildCase{"HandsBackItsBytes",
                  [](qv::ui::IsolatedRun& out, size_t& used, std::string&) {
                      std::memcpy(out.data(), "pixels", 6);
                      used = 6;
                      return true;
                  },
                  true, ""},
        ChildCase{"GivesUpWithItsReason",
                  [](qv::ui::IsolatedRun&, size_t&, std::string& why) {
                      why = "PCX: the picture is damaged";
                      return false;
                  },
                  false, "PCX: the picture is damaged"},
        ChildCase{"Crashes",
                  [](qv::ui::IsolatedRun&, size_t&, std::string&) {
                      std::raise(SIGSEGV);
                      return true;
                  },
                  false, "failed on this file"},
        ChildCase{"Hangs",
                  [](qv::ui::IsolatedRun&, size_t&, std::string&) {
                      std::this_thread::sleep_for(std::chrono::seconds(60));
                      return true;
                  },
                  false, "too long"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
