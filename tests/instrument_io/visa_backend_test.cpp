// Which session class serves a resource, and what the vendor library's
// session hands over: without a network, a library stand-in records calls.
#include "instrument_io/visa/backend.h"
#include "instrument_io/visa/resource.h"
#include "instrument_io/visa/vendor.h"
#include "instrument_io/visa/visa.h"
#include "instrument_io/visa/visa_log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

using namespace qv::visa;

namespace {

struct Routing {
    const char* resource;
    const char* backend;
};

void PrintTo(const Routing& r, std::ostream* os) { *os << r.resource; }

class BackendTable : public ::testing::TestWithParam<Routing> {};

}  // namespace

// Also shows that no backend file was left out of a link: each kind answers.
TEST_P(BackendTable, ResourceFindsItsSessionClass) {
    Resource r;
    ASSERT_TRUE(parseResource(GetParam().resource, r));
    auto b = makeBackend(r.kind);
    ASSERT_NE(b, nullptr);
    EXPECT_STREQ(b->name(), GetParam().backend);
}

INSTANTIATE_TEST_SUITE_P(Resources, BackendTable,
                         ::testing::Values(Routing{"TCPIP0::10.0.0.5::inst1::INSTR", "VXI-11"},
                                           Routing{"TCPIP::host::INSTR", "VXI-11"},
                                           Routing{"TCPIP::host::5025::SOCKET", "socket"},
                                           Routing{"ASRL3::INSTR", "serial"},
                                           Routing{"ASRL/dev/ttyUSB0::INSTR", "serial"},
                                           Routing{"TCPIP::host::hislip0::INSTR", "vendor library"},
                                           Routing{"GPIB0::7::INSTR", "vendor library"},
                                           Routing{"USB0::0x0AAD::0x0054::100123::INSTR", "vendor library"},
                                           Routing{"visa://server/GPIB0::7::INSTR", "vendor library"},
                                           Routing{"QVIB::10.0.0.5::INSTR", "vendor library"}));

TEST(BackendTable, FirstRegistrationStays) {
    EXPECT_FALSE(registerBackend(ResourceKind::TcpipSocket, [] { return makeVendorBackend(nullptr); }));
    EXPECT_STREQ(makeBackend(ResourceKind::TcpipSocket)->name(), "socket");
}

// The tests load no vendor library: what only it could serve is not found,
// and the log says what kind of resource that was.
TEST(BackendTable, ForeignResourcesWithoutVendorLibraryAreNotFound) {
    unsetenv("QUILVANE_VISA_LIBRARY");
    ViSession rm = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    const std::pair<const char*, const char*> cases[] = {{"TCPIP::127.0.0.1::hislip0::INSTR", "HiSLIP"},
                                                         {"USB0::1::2::3::INSTR", "USB"},
                                                         {"visa://127.0.0.1/ASRL1::INSTR", "remote VISA server"},
                                                         {"QVIB::127.0.0.1::INSTR", "QVIB"}};
    for (auto [res, kind] : cases) {
        ViSession vi = 1234;
        EXPECT_EQ(viOpen(rm, res, VI_NULL, 500, &vi), VI_ERROR_RSRC_NFOUND) << res;
        EXPECT_EQ(vi, VI_NULL) << res;
        EXPECT_NE(lastMessage().find(std::string("does not serve ") + kind + " resources"), std::string::npos)
            << lastMessage();
    }
    viClose(rm);
}

// ---- the vendor library's session ---------------------------------------------

namespace {

// A vendor library that records every call with the session it was made on.
std::vector<std::string> g_calls;
constexpr ViSession kVendorRm = 500, kVendorVi = 77;

void record(const std::string& s) { g_calls.push_back(s); }

ViStatus fakeOpenRM(ViPSession v) {
    record("openDefaultRM");
    *v = kVendorRm;
    return VI_SUCCESS;
}
ViStatus fakeOpen(ViSession rm, ViConstRsrc name, ViAccessMode mode, ViUInt32 tmo, ViPSession vi) {
    record("open " + std::to_string(rm) + " " + name + " " + std::to_string(mode) + " " + std::to_string(tmo));
    *vi = kVendorVi;
    return VI_SUCCESS_DEV_NPRESENT;
}
ViStatus fakeClose(ViObject vi) {
    record("close " + std::to_string(vi));
    return VI_SUCCESS;
}
ViStatus fakeRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 ret) {
    record("read " + std::to_string(vi) + " " + std::to_string(cnt));
    std::memcpy(buf, "abc", 3);
    *ret = 3;
    return VI_SUCCESS_TERM_CHAR;
}
ViStatus fakeBufRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 ret) {
    record("bufRead " + std::to_string(vi) + " " + std::to_string(cnt));
    std::memcpy(buf, "de", 2);
    *ret = 2;
    return VI_SUCCESS_MAX_CNT;
}
ViStatus fakeWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 ret) {
    record("write " + std::to_string(vi) + " " + std::string(reinterpret_cast<const char*>(buf), cnt));
    *ret = cnt;
    return VI_SUCCESS;
}
ViStatus fakeReadToFile(ViSession vi, ViConstString file, ViUInt32 cnt, ViPUInt32 ret) {
    record("readToFile " + std::to_string(vi) + " " + file + " " + std::to_string(cnt));
    *ret = 9;
    return VI_SUCCESS;
}
ViStatus fakeWriteFromFile(ViSession vi, ViConstString file, ViUInt32 cnt, ViPUInt32 ret) {
    record("writeFromFile " + std::to_string(vi) + " " + file + " " + std::to_string(cnt));
    *ret = 8;
    return VI_SUCCESS;
}
ViStatus fakeReadSTB(ViSession vi, ViPUInt16 stb) {
    record("readSTB " + std::to_string(vi));
    *stb = 0x42;
    return VI_SUCCESS;
}
ViStatus fakeClear(ViSession vi) {
    record("clear " + std::to_string(vi));
    return VI_SUCCESS;
}
ViStatus fakeRen(ViSession vi, ViUInt16 mode) {
    record("gpibControlREN " + std::to_string(vi) + " " + std::to_string(mode));
    return VI_SUCCESS;
}
// Answers what our own sessions would refuse, so a forwarded call shows.
ViStatus fakeGet(ViObject vi, ViAttr attr, void* value) {
    record("getAttribute " + std::to_string(vi) + " " + std::to_string(attr));
    *static_cast<ViUInt16*>(value) = 1;
    return VI_SUCCESS;
}
ViStatus fakeSet(ViObject vi, ViAttr attr, ViAttrState state) {
    record("setAttribute " + std::to_string(vi) + " " + std::to_string(attr) + " " + std::to_string(state));
    return VI_WARN_NSUP_ATTR_STATE;
}

// Only what every VISA library has.
VendorLibrary minimalLibrary() {
    VendorLibrary lib;
    lib.openDefaultRM = fakeOpenRM;
    lib.open = fakeOpen;
    lib.close = fakeClose;
    lib.read = fakeRead;
    lib.write = fakeWrite;
    lib.getAttribute = fakeGet;
    lib.setAttribute = fakeSet;
    return lib;
}

VendorLibrary fullLibrary() {
    VendorLibrary lib = minimalLibrary();
    lib.bufRead = fakeBufRead;
    lib.readToFile = fakeReadToFile;
    lib.writeFromFile = fakeWriteFromFile;
    lib.readSTB = fakeReadSTB;
    lib.clear = fakeClear;
    lib.gpibControlREN = fakeRen;
    return lib;
}

// Opens a session of lib for our resource manager rm.
std::unique_ptr<Backend> openVendorSession(const VendorLibrary& lib, ViSession rm, ViStatus& status) {
    OpenRequest req;
    EXPECT_TRUE(parseResource("GPIB0::7::INSTR", req.resource));
    req.text = "GPIB0::7::INSTR";
    req.rm = rm;
    req.mode = 4;
    req.timeoutMs = 1234;
    auto b = makeVendorBackend(&lib);
    std::string reason;
    status = b->open(req, reason);
    return b;
}

struct Forwarded {
    const char* op;
    ViStatus (*call)(Backend&);
    ViStatus full;     // with every operation in the library
    ViStatus minimal;  // with only the mandatory ones
    std::string fullCall;
    std::string minimalCall;  // empty when nothing reaches the library
};

uint8_t g_buf[16];
uint32_t g_count;
uint16_t g_stb;

const Forwarded kForwarded[] = {
    {"read", [](Backend& b) { return b.read(g_buf, 16, g_count); }, VI_SUCCESS_TERM_CHAR, VI_SUCCESS_TERM_CHAR,
     "read 77 16", "read 77 16"},
    // Without the vendor's buffered read, a plain read.
    {"bufRead", [](Backend& b) { return b.bufRead(g_buf, 16, g_count); }, VI_SUCCESS_MAX_CNT, VI_SUCCESS_TERM_CHAR,
     "bufRead 77 16", "read 77 16"},
    {"write", [](Backend& b) { return b.write(reinterpret_cast<const uint8_t*>("*CLS\n"), 5, g_count); }, VI_SUCCESS,
     VI_SUCCESS, "write 77 *CLS\n", "write 77 *CLS\n"},
    {"readToFile", [](Backend& b) { return b.readToFile("/x/in.bin", 100, g_count); }, VI_SUCCESS,
     VI_ERROR_NSUP_OPER, "readToFile 77 /x/in.bin 100", ""},
    {"writeFromFile", [](Backend& b) { return b.writeFromFile("/x/out.bin", 50, g_count); }, VI_SUCCESS,
     VI_ERROR_NSUP_OPER, "writeFromFile 77 /x/out.bin 50", ""},
    {"readStb", [](Backend& b) { return b.readStb(g_stb); }, VI_SUCCESS, VI_ERROR_NSUP_OPER, "readSTB 77", ""},
    {"clear", [](Backend& b) { return b.clear(); }, VI_SUCCESS, VI_ERROR_NSUP_OPER, "clear 77", ""},
    {"gpibControlRen", [](Backend& b) { return b.gpibControlRen(VI_GPIB_REN_ASSERT); }, VI_SUCCESS,
     VI_ERROR_NSUP_OPER, "gpibControlREN 77 1", ""},
    // Our own sessions have no ASRL attributes on GPIB: the vendor decides.
    {"getAttribute", [](Backend& b) { return b.getAttribute(VI_ATTR_ASRL_BAUD, &g_stb); }, VI_SUCCESS, VI_SUCCESS,
     "getAttribute 77 " + std::to_string(VI_ATTR_ASRL_BAUD), "getAttribute 77 " + std::to_string(VI_ATTR_ASRL_BAUD)},
    {"setAttribute", [](Backend& b) { return b.setAttribute(VI_ATTR_TMO_VALUE, 3000); }, VI_WARN_NSUP_ATTR_STATE,
     VI_WARN_NSUP_ATTR_STATE, "setAttribute 77 " + std::to_string(VI_ATTR_TMO_VALUE) + " 3000",
     "setAttribute 77 " + std::to_string(VI_ATTR_TMO_VALUE) + " 3000"},
};

class VendorSession : public ::testing::TestWithParam<Forwarded> {};

}  // namespace

TEST_P(VendorSession, OperationReachesTheVendorsSession) {
    const Forwarded& f = GetParam();
    for (bool full : {true, false}) {
        SCOPED_TRACE(full ? "full library" : "minimal library");
        VendorLibrary lib = full ? fullLibrary() : minimalLibrary();
        g_calls.clear();
        ViStatus opened = VI_SUCCESS;
        auto b = openVendorSession(lib, 31, opened);
        EXPECT_EQ(opened, VI_SUCCESS_DEV_NPRESENT);  // the vendor's warning reaches the caller
        g_calls.clear();
        EXPECT_EQ(f.call(*b), full ? f.full : f.minimal);
        const std::string& expected = full ? f.fullCall : f.minimalCall;
        if (!expected.empty()) {
            ASSERT_EQ(g_calls.size(), 1u);
            EXPECT_EQ(g_calls[0], expected);
        } else {
            EXPECT_TRUE(g_calls.empty());
        }
        b->close();
        releaseVendorManagers(31);
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, VendorSession, ::testing::ValuesIn(kForwarded),
                         [](const auto& info) { return std::string(info.param.op); });

TEST(VendorSession, CountsComeFromTheVendor) {
    VendorLibrary lib = fullLibrary();
    ViStatus opened = VI_SUCCESS;
    auto b = openVendorSession(lib, 32, opened);
    uint32_t n = 0;
    EXPECT_EQ(b->read(g_buf, 16, n), VI_SUCCESS_TERM_CHAR);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(g_buf), n), "abc");
    EXPECT_EQ(b->readToFile("/x/in.bin", 100, n), VI_SUCCESS);
    EXPECT_EQ(n, 9u);
    uint16_t stb = 0;
    EXPECT_EQ(b->readStb(stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x42);
    b->close();
    releaseVendorManagers(32);
}

// One vendor manager behind each of ours, opened once and closed with ours.
TEST(VendorSession, ManagerFollowsOurResourceManager) {
    VendorLibrary lib = fullLibrary();
    g_calls.clear();
    ViStatus s = VI_SUCCESS;
    auto a = openVendorSession(lib, 41, s);
    auto b = openVendorSession(lib, 41, s);
    auto c = openVendorSession(lib, 42, s);
    const std::string open = "open 500 GPIB0::7::INSTR 4 1234";
    EXPECT_EQ(g_calls, (std::vector<std::string>{"openDefaultRM", open, open, "openDefaultRM", open}));
    g_calls.clear();
    a->close();
    a->close();  // a second close sends nothing
    releaseVendorManagers(41);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"close 77", "close 500"}));
    g_calls.clear();
    releaseVendorManagers(41);
    EXPECT_TRUE(g_calls.empty());
    b->close();
    c->close();
    releaseVendorManagers(42);
}
