#include "vendor.h"

#include "visa_log.h"

#include <dlfcn.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <utility>

namespace qv::visa {

namespace {

template <typename F>
bool bind(void* h, const char* name, F& fn) {
    fn = reinterpret_cast<F>(dlsym(h, name));
    return fn != nullptr;
}

std::mutex g_managersMutex;
// Keyed by library as well, so that a library handed in by a test never
// lends its managers to the process's one.
std::map<std::pair<const VendorLibrary*, ViSession>, ViSession> g_managers;

}  // namespace

bool loadVendorLibrary(const std::string& path, VendorLibrary& lib, std::string& why) {
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

const VendorLibrary* vendorLibrary(std::string* whyOut) {
    static std::once_flag once;
    static VendorLibrary lib;
    static bool loaded = false;
    static std::string why;
    std::call_once(once, [] {
        const char* env = std::getenv("QUILVANE_VISA_LIBRARY");
        if (env && *env) {
            loaded = loadVendorLibrary(env, lib, why);
        } else {
            for (const char* name : {"libvisa.so", "libvisa.so.0"}) {
                if ((loaded = loadVendorLibrary(name, lib, why))) break;
            }
            if (!loaded) why = "no vendor VISA library installed (set QUILVANE_VISA_LIBRARY to one): " + why;
        }
        if (loaded) logMessage("vendor VISA library loaded from " + lib.path);
    });
    if (whyOut) *whyOut = why;
    return loaded ? &lib : nullptr;
}

ViStatus vendorManager(const VendorLibrary& lib, ViSession rm, ViSession& out) {
    std::lock_guard<std::mutex> lk(g_managersMutex);
    auto key = std::make_pair(&lib, rm);
    auto it = g_managers.find(key);
    if (it == g_managers.end()) {
        ViSession v = 0;
        ViStatus s = lib.openDefaultRM(&v);
        if (s < 0) return s;
        it = g_managers.emplace(key, v).first;
    }
    out = it->second;
    return VI_SUCCESS;
}

void releaseVendorManagers(ViSession rm) {
    std::vector<std::pair<const VendorLibrary*, ViSession>> closing;
    {
        std::lock_guard<std::mutex> lk(g_managersMutex);
        for (auto it = g_managers.begin(); it != g_managers.end();) {
            if (it->first.second == rm) {
                closing.emplace_back(it->first.first, it->second);
                it = g_managers.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (auto& [lib, v] : closing) lib->close(v);
}

void vendorResources(ViSession rm, const char* expr, std::vector<std::string>& out) {
    const VendorLibrary* lib = vendorLibrary();
    if (!lib || !lib->findRsrc || !lib->findNext) return;
    ViSession vrm = 0;
    ViFindList vf = 0;
    ViUInt32 n = 0;
    ViChar buf[VI_FIND_BUFLEN] = {};
    if (vendorManager(*lib, rm, vrm) < 0 || lib->findRsrc(vrm, expr, &vf, &n, buf) < 0) return;
    // The count is the vendor's word: a bound keeps a broken one finite.
    for (ViUInt32 i = 0; i < n && i < 4096; ++i) {
        if (i > 0 && lib->findNext(vf, buf) < 0) break;
        buf[VI_FIND_BUFLEN - 1] = '\0';
        out.emplace_back(buf);
    }
    lib->close(vf);
}

}  // namespace qv::visa
