#include "vendor.h"

#include "visa_log.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>

namespace qv::visa {

namespace {

template <typename F>
bool bind(void* h, const char* name, F& fn) {
    fn = reinterpret_cast<F>(dlsym(h, name));
    return fn != nullptr;
}

bool load(const std::string& path, VendorLibrary& lib, std::string& why) {
    void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!h) {
        const char* e = dlerror();
        why += std::string(e ? e : (path + ": cannot load").c_str()) + "; ";
        return false;
    }
    bool ok = bind(h, "viOpenDefaultRM", lib.openDefaultRM) && bind(h, "viOpen", lib.open) &&
              bind(h, "viClose", lib.close) && bind(h, "viRead", lib.read) && bind(h, "viWrite", lib.write) &&
              bind(h, "viGetAttribute", lib.getAttribute) && bind(h, "viSetAttribute", lib.setAttribute);
    if (!ok) {
        why += path + ": not a VISA library (missing viOpen and friends); ";
        dlclose(h);
        return false;
    }
    // Optional operations: a missing one answers VI_ERROR_NSUP_OPER.
    bind(h, "viFindRsrc", lib.findRsrc);
    bind(h, "viFindNext", lib.findNext);
    bind(h, "viBufRead", lib.bufRead);
    bind(h, "viReadToFile", lib.readToFile);
    bind(h, "viWriteFromFile", lib.writeFromFile);
    bind(h, "viReadSTB", lib.readSTB);
    bind(h, "viClear", lib.clear);
    bind(h, "viGpibControlREN", lib.gpibControlREN);
    lib.path = path;
    return true;  // the handle stays open for the life of the process
}

}  // namespace

const VendorLibrary* vendorLibrary(std::string* whyOut) {
    static std::once_flag once;
    static VendorLibrary lib;
    static bool loaded = false;
    static std::string why;
    std::call_once(once, [] {
        const char* env = std::getenv("QUILVANE_VISA_LIBRARY");
        if (env && *env) {
            loaded = load(env, lib, why);
        } else {
            for (const char* name : {"libvisa.so", "libvisa.so.0"}) {
                if ((loaded = load(name, lib, why))) break;
            }
            if (!loaded) why = "no vendor VISA library installed (set QUILVANE_VISA_LIBRARY to one): " + why;
        }
        if (loaded) logMessage("vendor VISA library loaded from " + lib.path);
    });
    if (whyOut) *whyOut = why;
    return loaded ? &lib : nullptr;
}

}  // namespace qv::visa
