// Resources the built-in layer cannot serve go to a vendor library when one
// is configured; the library is loaded once per process, so each case runs
// the command-line tool in a process of its own.
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {
std::string run(const std::string& cmd, int& status) {
    std::string out;
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    if (!p) return out;
    char buf[512];
    while (size_t n = fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    status = pclose(p);
    return out;
}
}  // namespace

TEST(VendorLibrary, ServesWhatTheBuiltInLayerCannot) {
    int status = -1;
    std::string lib = qvtest::binPath("libfake_vendor_visa.so");
    std::string out = run("QUILVANE_VISA_LIBRARY=" + lib + " " + qvtest::binPath("quilvane-cli") +
                              " query GPIB0::7::INSTR '*IDN?'",
                          status);
    EXPECT_EQ(status, 0) << out;
    EXPECT_EQ(out, "FAKEVENDOR,GPIB0::7::INSTR,*IDN?\n");
}

TEST(VendorLibrary, MissingLibraryIsNamedInTheError) {
    int status = -1;
    std::string out = run("QUILVANE_VISA_LIBRARY=/nonexistent/libnone.so " + qvtest::binPath("quilvane-cli") +
                              " query GPIB0::7::INSTR '*IDN?'",
                          status);
    EXPECT_NE(status, 0);
    EXPECT_NE(out.find("VI_ERROR_RSRC_NFOUND"), std::string::npos) << out;
    EXPECT_NE(out.find("/nonexistent/libnone.so"), std::string::npos) << out;
}
