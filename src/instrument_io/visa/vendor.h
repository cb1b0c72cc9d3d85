// A vendor VISA library loaded at run time: it serves the resources the
// built-in layer cannot (GPIB, USB, HiSLIP, remote VISA servers). Its
// sessions are one more backend (backend_vendor.cpp); this is the library
// itself and the resource managers we open in it.
#pragma once

#include "visa.h"

#include <memory>
#include <string>
#include <vector>

namespace qv::visa {

struct VendorLibrary {
    ViStatus (*openDefaultRM)(ViPSession) = nullptr;
    ViStatus (*findRsrc)(ViSession, ViConstString, ViPFindList, ViPUInt32, ViChar*) = nullptr;
    ViStatus (*findNext)(ViFindList, ViChar*) = nullptr;
    ViStatus (*open)(ViSession, ViConstRsrc, ViAccessMode, ViUInt32, ViPSession) = nullptr;
    ViStatus (*close)(ViObject) = nullptr;
    ViStatus (*getAttribute)(ViObject, ViAttr, void*) = nullptr;
    ViStatus (*setAttribute)(ViObject, ViAttr, ViAttrState) = nullptr;
    ViStatus (*read)(ViSession, ViBuf, ViUInt32, ViPUInt32) = nullptr;
    ViStatus (*bufRead)(ViSession, ViBuf, ViUInt32, ViPUInt32) = nullptr;
    ViStatus (*write)(ViSession, ViConstBuf, ViUInt32, ViPUInt32) = nullptr;
    ViStatus (*readToFile)(ViSession, ViConstString, ViUInt32, ViPUInt32) = nullptr;
    ViStatus (*writeFromFile)(ViSession, ViConstString, ViUInt32, ViPUInt32) = nullptr;
    ViStatus (*readSTB)(ViSession, ViPUInt16) = nullptr;
    ViStatus (*clear)(ViSession) = nullptr;
    ViStatus (*gpibControlREN)(ViSession, ViUInt16) = nullptr;
    std::string path;
};

// The library, loaded once (QUILVANE_VISA_LIBRARY, else the usual names);
// nullptr when there is none. why tells what was tried.
const VendorLibrary* vendorLibrary(std::string* why = nullptr);

// Loads the library at path into lib; false with why extended when it is
// missing or lacks the operations every VISA library has.
bool loadVendorLibrary(const std::string& path, VendorLibrary& lib, std::string& why);

// The vendor's resource manager behind our manager rm, opened on first use.
ViStatus vendorManager(const VendorLibrary& lib, ViSession rm, ViSession& out);
// Closes the vendor's managers behind rm (and with them their sessions).
void releaseVendorManagers(ViSession rm);
// Appends what the vendor's own viFindRsrc lists for expr; nothing without a
// library or when it finds nothing.
void vendorResources(ViSession rm, const char* expr, std::vector<std::string>& out);

class Backend;
// A session served by lib; nullptr: by the process's library, looked up at open.
std::unique_ptr<Backend> makeVendorBackend(const VendorLibrary* lib);

}  // namespace qv::visa
