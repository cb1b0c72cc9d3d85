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

std::string run(const std::string& cmd, int& status) {
    std::string out;
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    if (!p) return out;
    char buf[512];
    while (size_t n = fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    status = pclose(p);
    return out;
}

std::string selfPath() {
    char buf[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, size_t(n)) : std::string();
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> out;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t nl = text.find('\n', pos);
        if (nl == std::string::npos) nl = text.size();
        out.push_back(text.substr(pos, nl - pos));
        pos = nl + 1;
    }
    return out;
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
    int status = -1;
    std::string out = run("QUILVANE_VISA_LIBRARY=" + binPath("libfake_vendor_visa.so") + " " + kRecordVar + "=" +
                              record + " TMPDIR=" + d.path() + " " + selfPath() + " --gtest_filter=" +
                              test->test_suite_name() + "." + test->name(),
                          status);
    ASSERT_EQ(status, 0) << out;
    // The pieces of a block go out as they are; the end of a block and every
    // command after it carry their LF.
    std::vector<std::string> expect = {"MMEM:DATA 'a.bin',#15", "he", "ll", "o", "\\n", "*CLS\\n",
                                       "MMEM:DATA 'b.bin',#13", "abc", "\\n", "*OPC?\\n"};
    EXPECT_EQ(linesOf(readFile(record)), expect);
}
