// A vendor VISA library loaded at run time: it serves the resources the
// built-in layer cannot (GPIB, USB, HiSLIP, remote VISA servers).
#pragma once

#include "visa.h"

#include <string>

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

}  // namespace qv::visa
