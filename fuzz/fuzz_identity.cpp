// Identification answers, scan entries and resource texts come from
// instruments and users: any bytes must give a record with a valid family
// word, and the entry and resource helpers must keep within their input.
#include "app/main_window.h"
#include "instrument_directory/dev_ident.h"
#include "instrument_directory/host_names.h"
#include "instrument_directory/visa_scan.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace qv::dir;

namespace {

// The name look-ups of getRawIPAddress stay in the process.
class NoNetworkResolver : public Resolver {
public:
    bool nameToAddress(const std::string& name, std::string& dotted) override {
        if (!CheckIP(name)) return false;
        dotted = name;
        return true;
    }
    bool addressToName(const std::string&, uint16_t, bool, std::string&) override { return false; }
};

void loadTables() {
    char path[] = "/tmp/fuzz_identityXXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    const std::string text =
        "[MASTERDEVICES]\nValue1=TKAH\nValue2=TKA\nValue3=TKD\nValue4=KDC\nValue5=PWEF\nValue6=PWE\n"
        "[MAPPINGS]\nTKD1=TKU\nTKD2=TKV\nKDC1=KDZ\n";
    if (write(fd, text.data(), text.size()) != ssize_t(text.size())) abort();
    close(fd);
    LoadMasterList(path);
    unlink(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool loaded = (loadTables(), true);
    static NoNetworkResolver resolver;
    (void)loaded;
    setResolver(&resolver);
    const std::string in(reinterpret_cast<const char*>(data), size);

    // The first byte picks the custom name's form; the rest is the answer.
    ResetRecords();
    const std::string custom = size && (data[0] & 1) ? "Lab|GPIB0|20" : size && (data[0] & 2) ? "x (y)" : "";
    const IdentOutcome o = IdentifyAnswer(in, 0, custom, size && (data[0] & 4));
    const DeviceRecord& r = deviceRecords()[0];
    const bool known = r.DeviceTyp == kNoDevice || r.DeviceTyp == kDeviceUnknown || r.DeviceTyp == kNoFamily ||
                       identityTables().masterIndex.count(r.DeviceTyp);
    if (!known) abort();
    if (o == IdentOutcome::Matched && r.Identified != -1) abort();
    if (r.IDAnswer.size() > in.size()) abort();
    // Identify on the text behind a maker word too, and on a stale index.
    Identify(in, 0);
    Identify(in, 3);

    VISAScan scan;
    std::string entry = in;
    const std::string res = scan.ResolveName(entry);
    if (entry.size() > in.size() || res.size() > in.size() + 16) abort();
    const std::string host = ResourceHost(in);
    if (host.size() > in.size()) abort();
    scan.getRawIPAddress(in);
    // Name and tail may overlap when "(" stands before "|": at most twice the text.
    if (qv::app::DeviceListText(in).size() > 2 * in.size() + 1) abort();
    CheckIP(in);
    setResolver(nullptr);
    return 0;
}
