#include "vif.h"

#include "app/host.h"
#include "vif_internal.h"
#include "app/debug.h"
#include "app/numeric.h"

#include <chrono>
#include <cstdlib>
#include <thread>

namespace qv::io {

namespace {
bool g_visaAvailable = [] {
    const char* v = std::getenv("QUILVANE_NO_VISA");
    return !(v && *v && *v != '0');
}();

// An answer that never ends stops growing here.
constexpr size_t kMaxLongAnswer = 64u << 20;

void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

bool isEmptyChar(char c) { return c == '\r' || c == '\n' || c == '\t'; }
}  // namespace

bool visaAvailable() { return g_visaAvailable; }
void setVisaAvailable(bool available) { g_visaAvailable = available; }

VIF::VIF() {
    VISAFound_ = visaAvailable();
    if (!VISAFound_ && VIFVIFError) VIFVIFError("VISA DLL could not be found.\r\nPlease install VISA software.", "");
}

VIF::~VIF() {
    dropTempFile();
    if (Session > 0) {
        // Gives the instrument time to finish before the link goes.
        pause(kCloseWaitMs);
        VIFviClose(ViSession(Session));
        Session = -1;
    }
    if (ResourceManager > 0) {
        VIFviClose(ViSession(ResourceManager));
        ResourceManager = -1;
    }
}

std::string VIF::TrimAll(const std::string& text) {
    size_t b = text.find_first_not_of(' ');
    if (b == std::string::npos) return {};
    size_t e = text.find_last_not_of(' ');
    std::string t = text.substr(b, e - b + 1);
    while (!t.empty() && isEmptyChar(t.back())) t.pop_back();
    size_t s = 0;
    while (s < t.size() && isEmptyChar(t[s])) ++s;
    return t.substr(s);
}

ViStatus VIF::SetVISAAttribute(ViAttr attribute, uint32_t value) {
    app::CallGuard guard("VIF", "VIF", "SetVISAAttribute");
    return VIFviSetAttribute(ViSession(Session), attribute, value);
}

void VIF::TimeOut(int32_t value) {
    TimeOut_ = value;
    if (VISAFound_ && Session > 0) VIFviSetAttribute(ViSession(Session), VI_ATTR_TMO_VALUE, uint32_t(value));
}

void VIF::ConfigErrorProcessor(bool pollAfterCommand, bool errorIsFailure) {
    app::CallGuard guard("VIF", "VIF", "ConfigErrorProcessor");
    PollAfterCommand = pollAfterCommand;
    ErrorIsFailure = errorIsFailure;
}

void VIF::ConfigDebugMode(int level, bool timeStamp, const std::string& filePath, int dumpLimit) {
    app::CallGuard guard("VIF", "VIF", "ConfigDebugMode");
    DebugLevel = level;
    DebugTimeStamp = timeStamp;
    if (!filePath.empty()) DebugFile = filePath;
    DebugDumpLimit = dumpLimit;
}

bool VIF::OpenDevice(const std::string& resource, bool pollErrors, bool reset, uint32_t openTimeout,
                     bool checkStatus) {
    app::CallGuard guard("VIF", "VIF", "OpenDevice");
    Session = 0;
    if (!VISAFound_) return false;
    if (ResourceManager == -1) {
        ViSession rm = 0;
        if (VIFviOpenDefaultRM(rm) >= 0) ResourceManager = int32_t(rm);
    }
    if (ResourceManager <= 0) return false;
    ViSession vi = 0;
    if (VIFviOpen(ViSession(ResourceManager), resource, VI_NULL, openTimeout, vi) < 0) return false;
    Session = int32_t(vi);
    if (checkStatus) {
        ViUInt16 stb = 0;
        ViStatus s = VIFviReadSTB(vi, stb);
        // Interfaces without a serial poll answer VI_ERROR_INV_SETUP: that
        // still proves the session stands.
        if (s < 0 && s != VI_ERROR_INV_SETUP) {
            Session = 0;
            return false;
        }
    }
    if (reset) {
        std::string answer;
        ReadString("*RST;*OPC?", answer, 2048, true);
        WriteString("*CLS", 0);
    }
    if (pollErrors) {
        std::string errors;
        PollErrors(errors, "SYST:ERR?", false);
    }
    VIFviSetAttribute(vi, VI_ATTR_TMO_VALUE, uint32_t(TimeOut_));
    return true;
}

ViStatus VIF::sendText(const std::string& text, bool withLf) {
    uint32_t written = 0;
    return VIFviWrite(ViSession(Session), text, uint32_t(text.size()), written, withLf && !blockOpen_);
}

ViStatus VIF::readText(std::string& out, long count) {
    uint32_t n = 0;
    ViStatus s = VIFviRead(ViSession(Session), out, uint32_t(count < 0 ? 0 : count), n);
    if (s >= 0) out.resize(n);
    return s;
}

bool VIF::ReadString(const std::string& command, std::string& answer, long bufferSize, bool report) {
    app::CallGuard guard("VIF", "VIF", "ReadString");
    if (!VISAFound_ || Session < 1) return false;
    bool result = false;
    LastCommand_ = command;
    ViStatus s = VI_SUCCESS;
    if (!TrimAll(command).empty()) s = sendText(command);
    if (s < 0) {
        if (CloseIfError_) Session = 0;
    } else {
        std::string buf;
        uint32_t n = 0;
        s = VIFviRead(ViSession(Session), buf, uint32_t(bufferSize < 0 ? 0 : bufferSize), n);
        if (s < 0) {
            answer = buf;  // the blank buffer
            if (CloseIfError_) Session = 0;
        } else {
            result = true;
            answer = TrimAll(buf.substr(0, n));
        }
    }
    if (PollAfterCommand) {
        std::string errors;
        if (PollErrors(errors, "SYST:ERR?", report) && ErrorIsFailure) result = false;
    }
    if (VIFCommandExecuted) VIFCommandExecuted(result, LastCommand_);
    return result;
}

bool VIF::ReadStringLong(const std::string& command, std::string& answer, long chunkSize) {
    app::CallGuard guard("VIF", "VIF", "ReadStringLong");
    if (!VISAFound_ || Session < 1) return false;
    bool result = false;
    LastCommand_ = command;
    ViStatus s = VI_SUCCESS;
    if (!TrimAll(command).empty()) s = sendText(command);
    if (s >= 0 && chunkSize > 0) {
        std::string whole, buf;
        uint32_t n = 0;
        ViStatus r = VIFviRead(ViSession(Session), buf, uint32_t(chunkSize), n);
        whole.append(buf, 0, n);
        // A full buffer means more may be waiting, unless the read saw the
        // answer's end: a text that fills its last chunk exactly (fixed-width
        // number lists do, every time) is whole without a read that waits
        // for the time-out.
        while (n == uint32_t(chunkSize) && r == VI_SUCCESS_MAX_CNT && whole.size() < kMaxLongAnswer) {
            r = VIFviRead(ViSession(Session), buf, uint32_t(chunkSize), n);
            whole.append(buf, 0, n);
        }
        answer = whole;
        result = true;
    }
    if (PollAfterCommand) {
        std::string errors;
        if (PollErrors(errors, "SYST:ERR?", true) && ErrorIsFailure) result = false;
    }
    if (VIFCommandExecuted) VIFCommandExecuted(result, LastCommand_);
    return result;
}

bool VIF::ReadFloat(const std::string& command, double& value) {
    app::CallGuard guard("VIF", "VIF", "ReadFloat");
    std::string answer;
    if (!ReadString(command, answer, 100, true)) return false;
    value = app::LeadingNumber(answer);
    return true;
}

bool VIF::WriteString(const std::string& command, int mode) {
    app::CallGuard guard("VIF", "VIF", "WriteString");
    if (!VISAFound_ || Session < 0) return false;
    LastCommand_ = command;
    std::string text = command;
    if (mode == 2) {
        sendText("*CLS");
        text += ";*OPC";
    } else if (mode == 1) {
        text += ";*WAI";
    }
    ViStatus s = sendText(text);
    if (mode == 2) WaitSRQ();
    if (s < 0 && CloseIfError_) Session = 0;
    if (PollAfterCommand) {
        std::string errors;
        PollErrors(errors, "SYST:ERR?", true);
    }
    if (VIFCommandExecuted) VIFCommandExecuted(true, LastCommand_);
    return true;
}

bool VIF::PollErrors(std::string& errors, const std::string& query, bool report) {
    app::CallGuard guard("VIF", "VIF", "PollErrors");
    if (!VISAFound_) return false;
    errors.clear();
    bool result = false;
    if (Session > 0) {
        long code = 0;
        // An instrument that never reports "no error" must not hold us for ever.
        for (int round = 0; round < 256; ++round) {
            if (sendText(query) != VI_SUCCESS) {
                result = true;
                break;
            }
            std::string answer;
            if (readText(answer, 1000) < 0) {
                result = true;
                break;
            }
            answer = TrimAll(answer);
            size_t comma = answer.find(',');
            if (comma != std::string::npos) code = long(app::LeadingNumber(answer.substr(0, comma)));
            if (code != 0) {
                errors += answer + "\r\n";
                result = true;
            }
            if (code == 0) break;
        }
    }
    if (!errors.empty()) {
        errors.resize(errors.size() - 2);
        LastError_ = errors;
        LastErrorCommand_ = LastCommand_;
        // A catalogue query's error stays in the result without an event.
        if (LastErrorCommand_.find("MMEM:CAT?") == std::string::npos && report && VIFSCPIError)
            VIFSCPIError(LastErrorCommand_, LastError_);
    }
    return result;
}

void VIF::ClearDevice() {
    app::CallGuard guard("VIF", "VIF", "ClearDevice");
    if (!VISAFound_ || Session <= 0) return;
    VIFviClear(ViSession(Session));
    pause(100);
    WriteString("*CLS", 0);
}

void VIF::SetRENState(uint16_t mode) {
    app::CallGuard guard("VIF", "VIF", "SetRENState");
    if (Session > 0) VIFviGpibControlREN(ViSession(Session), mode);
}

void VIF::PrepareSRQ() {
    app::CallGuard guard("VIF", "VIF", "PrepareSRQ");
    if (Session <= 0) return;
    sendText("*CLS\n");
    sendText("*ESE 1\n");
    sendText("*SRE 32\n");
}

void VIF::WaitSRQ() {
    app::CallGuard guard("VIF", "VIF", "WaitSRQ");
    if (Session <= 0) return;
    ViUInt16 stb = 0;
    VIFviReadSTB(ViSession(Session), stb);
    // Bounded by the object's time-out: an instrument that never sets a bit
    // must not hold the program.
    auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(TimeOut_ > 0 ? TimeOut_ : 0);
    int rounds = 0;
    for (;;) {
        stb = 0;
        if (VIFviReadSTB(ViSession(Session), stb) < 0) return;
        if (stb != 0) return;
        if (std::chrono::steady_clock::now() >= until) return;
        if (++rounds == 100) {
            app::host().processEvents();
            rounds = 0;
        }
    }
}

void VIF::VIFAttrChange(ViAttr attribute, int mode, double value) {
    if (!VISAFound_ || Session <= 0) return;
    int slot = attribute == VI_ATTR_TMO_VALUE        ? kSlotTimeout
               : attribute == VI_ATTR_GPIB_READDR_EN ? kSlotReaddr
               : attribute == VI_ATTR_GPIB_UNADDR_EN ? kSlotUnaddr
               : attribute == VI_ATTR_SEND_END_EN    ? kSlotSendEnd
                                                     : -1;
    if (slot < 0) return;
    if (mode == 0) {
        // A session that cannot tell the value (a vendor library that does
        // not know the attribute) gets the usual one back: the published
        // default, or this object's own time-out.
        const uint32_t usual[4] = {uint32_t(TimeOut_), VI_TRUE, VI_FALSE, VI_TRUE};
        uint32_t old = usual[slot];  // the wrapper leaves it alone when the read fails
        VIFviGetAttribute(ViSession(Session), attribute, old);
        VIFviSetAttribute(ViSession(Session), attribute, uint32_t(detail::roundHalfEven(value)));
        SavedAttr[slot] = old;
    } else {
        VIFviSetAttribute(ViSession(Session), attribute, SavedAttr[slot]);
    }
}

}  // namespace qv::io
