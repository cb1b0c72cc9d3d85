// Resources the built-in layer cannot serve go to a vendor library when one
// is configured; the library is loaded once per process, so each case runs
// the command-line tool in a process of its own.
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {
}  // namespace

TEST(VendorLibrary, ServesWhatTheBuiltInLayerCannot) {
    std::string lib = qvtest::binPath("libfake_vendor_visa.so");
    auto r = qvtest::runCommand("QUILVANE_VISA_LIBRARY=" + lib + " " + qvtest::binPath("quilvane-cli") +
                                " query GPIB0::7::INSTR '*IDN?'");
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(r.output, "FAKEVENDOR,GPIB0::7::INSTR,*IDN?\n");
}

TEST(VendorLibrary, MissingLibraryIsNamedInTheError) {
    auto r = qvtest::runCommand("QUILVANE_VISA_LIBRARY=/nonexistent/libnone.so " + qvtest::binPath("quilvane-cli") +
                                " query GPIB0::7::INSTR '*IDN?'");
    EXPECT_NE(r.exitCode, 0);
    EXPECT_NE(r.output.find("VI_ERROR_RSRC_NFOUND"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("/nonexistent/libnone.so"), std::string::npos) << r.output;
}
