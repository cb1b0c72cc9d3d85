// VIF on a vendor session that cannot tell VI_ATTR_SEND_END_EN (the stand-in
// library refuses every attribute read). The vendor library is loaded once
// per process, so the test runs its own program again as a child with the
// library configured; the child drives VIF, the library records every buffer
// written, and the parent checks the record.
#include "instrument_io/vif.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace qvtest;
using qv::io::VIF;

namespace {

constexpr const char* kRecordVar = "FAKE_VISA_WRITE_LOG";

std::string selfPath() {
    char buf[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, size_t(n)) : std::string();
}

// The child's part: block writes, each followed by a plain command.
void driveVif() {
    VIF v;
    ASSERT_TRUE(v.OpenDevice("GPIB0::7::INSTR", false, false, 1000, true));
    ViUInt32 sendEnd = 0;
    ASSERT_LT(viGetAttribute(v.GetHandle(), VI_ATTR_SEND_END_EN, &sendEnd), 0) << "the session must not tell";
    ASSERT_TRUE(v.WriteByteArray("MMEM:DATA 'a.bin',#15", {'h', 'e', 'l', 'l', 'o'}, 2, ""));
    v.WriteString("*CLS", 0);
    TempDir d;
    ASSERT_TRUE(writeFile(d.file("up.bin"), "abc"));
    ASSERT_TRUE(v.WriteFileToInstrument("MMEM:DATA 'b.bin',", d.file("up.bin"), ""));
    std::string answer;
    ASSERT_TRUE(v.ReadString("*OPC?", answer));
    EXPECT_EQ(answer, "FAKEVENDOR,GPIB0::7::INSTR,*OPC?");
}

}  // namespace

TEST(VifVendorSession, CommandsAfterABlockWriteKeepTheirLineEnd) {
    if (std::getenv(kRecordVar)) {
        driveVif();
        return;
    }
    TempDir d;
    const std::string record = d.file("writes.txt");
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    auto r = qvtest::runCommand("QUILVANE_VISA_LIBRARY=" + binPath("libfake_vendor_visa.so") + " " + kRecordVar +
                                "=" + record + " TMPDIR=" + d.path() + " " + selfPath() +
                                " --gtest_filter=" + test->test_suite_name() + "." + test->name());
    ASSERT_EQ(r.exitCode, 0) << r.output;
    // The pieces of a block go out as they are; the end of a block and every
    // command after it carry their LF.
    std::vector<std::string> expect = {"MMEM:DATA 'a.bin',#15", "he", "ll", "o", "\\n", "*CLS\\n",
                                       "MMEM:DATA 'b.bin',#13", "abc", "\\n", "*OPC?\\n"};
    EXPECT_EQ(qvtest::readLines(record), expect);
}
