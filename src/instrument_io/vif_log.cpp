// The wrappers around every VISA call of VIF and the I/O log they write:
// DebugLevel 1 logs failures, 2 every call with at most DebugDumpLimit bytes
// of its data, 3 every call with all its data.
#include "instrument_io/visa/status_text.h"
#include "vif.h"
#include "vif_internal.h"
#include "app/debug.h"
#include "app/numeric.h"

#include <cstdio>
#include <ctime>

namespace qv::io {


namespace {
std::string num(int64_t v) { return std::to_string(v); }

std::string timeStamp() {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%d;%H:%M:%S", &tm);
    return buf;
}
}  // namespace

std::string VIF::DecodeVISAError(ViStatus status) {
    // Only the failure codes have texts of their own here; VI_ERROR_IN_PROGRESS
    // and every completion code fall under the last rule.
    if (status >= 0 || status == VI_ERROR_IN_PROGRESS) return "Unknown VISA error (0x" + app::HexText(status) + ")";
    return visa::statusText(status);
}

char VIF::DebugbPrintable(unsigned char c, char replacement) {
    return (c < 32 || c == 127) ? replacement : char(c);
}

void VIF::StoreDebug(const std::string& text) {
    if (DebugFile.empty()) return;
    // Opened and closed for every line, so that a crash loses nothing.
    FILE* f = std::fopen(DebugFile.c_str(), "ab");
    if (!f) return;
    std::string line = text;
    if (DebugTimeStamp) line += ":" + timeStamp();
    line += "\n";
    std::fwrite(line.data(), 1, line.size(), f);
    std::fclose(f);
}

void VIF::StoreDebugb(const uint8_t* buffer, long count, long length) {
    long n = count == -1 ? length : count;
    if (n > length) n = length;
    if (DebugLevel != 3 && n > DebugDumpLimit) n = DebugDumpLimit;
    for (long off = 0; off < n; off += 16) {
        char head[32];
        std::snprintf(head, sizeof head, "%08lX:  ", off);
        std::string hexPart = head, text;
        for (long i = off; i < n && i < off + 16; ++i) {
            char b[8];
            std::snprintf(b, sizeof b, " %02X", buffer[i]);
            hexPart += b;
            text += DebugbPrintable(buffer[i]);
        }
        if (hexPart.size() < 59) hexPart.append(59 - hexPart.size(), ' ');
        StoreDebug(hexPart + " >>  " + text);
    }
}

void VIF::logResult(const std::string& resultLine, ViStatus status) {
    if (status < 0) LastVisaStatus_ = status;
    if (DebugLevel > 1 && !resultLine.empty()) StoreDebug(resultLine);
    if (status < 0 && DebugLevel > 0) StoreDebug("!!>> 0x" + app::HexText(status) + ": " + DecodeVISAError(status));
}

ViStatus VIF::VIFviOpenDefaultRM(ViSession& rm) {
    if (DebugLevel > 1) StoreDebug("  viOpenDefaultRM(0x" + app::HexText(rm) + ")");
    ViStatus s = viOpenDefaultRM(&rm);
    logResult("  >> rsrcManagerHandle: " + num(rm), s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviOpen(ViSession rm, const std::string& resource, uint32_t mode, uint32_t timeout, ViSession& vi) {
    if (DebugLevel > 1)
        StoreDebug("  viOpen(" + num(rm) + ",\"" + resource + "\"," + num(mode) + "," + num(timeout) + ",0x" +
                   app::HexText(vi) + ")");
    ViStatus s = viOpen(rm, resource.c_str(), mode, timeout, &vi);
    logResult("  >> instrumentHandle: " + num(vi), s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviReadSTB(ViSession vi, ViUInt16& stb) {
    if (DebugLevel > 1) StoreDebug("  viReadSTB(" + num(vi) + ",0x" + app::HexText(stb) + ")");
    ViStatus s = viReadSTB(vi, &stb);
    logResult("  >> statusByte: " + num(stb), s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

// The text sent is the buffer and one LF, the count one more than given; a
// piece of a block (withLf false) is sent as it is.
ViStatus VIF::VIFviWrite(ViSession vi, const std::string& buffer, uint32_t count, uint32_t& written, bool withLf) {
    std::string data = buffer.substr(0, std::min<size_t>(count, buffer.size()));
    if (withLf) data += '\n';
    if (DebugLevel > 1)
        StoreDebug("  viWrite(" + num(vi) + ",<BUFFER>," + num(data.size()) + ",0x" + app::HexText(written) + ")");
    ViUInt32 n = 0;
    ViStatus s = viWrite(vi, reinterpret_cast<ViConstBuf>(data.data()), ViUInt32(data.size()), &n);
    written = n;
    if (DebugLevel > 1) {
        StoreDebug("  >> returnCount: " + num(n));
        StoreDebug("  >> " + num(n) + " b Content");
        StoreDebugb(reinterpret_cast<const uint8_t*>(data.data()), long(n), long(data.size()));
    }
    logResult("", s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviWriteFromFile(ViSession vi, const std::string& file, uint32_t count, uint32_t& written) {
    return loggedFileCall("viWriteFromFile", &viWriteFromFile, vi, file, count, written);
}

ViStatus VIF::VIFviReadToFile(ViSession vi, const std::string& file, uint32_t count, uint32_t& read) {
    return loggedFileCall("viReadToFile", &viReadToFile, vi, file, count, read);
}

// viWriteFromFile and viReadToFile log alike but for the name on the call line.
ViStatus VIF::loggedFileCall(const char* name, FileCall call, ViSession vi, const std::string& file, uint32_t count,
                             uint32_t& moved) {
    if (DebugLevel > 1)
        StoreDebug(std::string("  ") + name + "(" + num(vi) + "," + file + "," + num(count) + ",0x" +
                   app::HexText(moved) + ")");
    ViUInt32 n = 0;
    ViStatus s = call(vi, file.c_str(), count, &n);
    moved = n;
    logResult("  >> returnCount: " + num(n), s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

// viRead and viBufRead log alike but for the name on the call line.
ViStatus VIF::loggedRead(const char* name, bool buffered, ViSession vi, std::string& buffer, uint32_t count,
                         uint32_t& read) {
    buffer.assign(count, ' ');
    if (DebugLevel > 1)
        StoreDebug(std::string("  ") + name + "(" + num(vi) + ",0x" +
                   app::HexText(int64_t(reinterpret_cast<uintptr_t>(buffer.data()))) + "," + num(count) + ",0x" +
                   app::HexText(read) + ")");
    ViUInt32 n = 0;
    ViBuf buf = reinterpret_cast<ViBuf>(buffer.data());
    ViStatus s = buffered ? viBufRead(vi, buf, count, &n) : viRead(vi, buf, count, &n);
    read = n;
    if (DebugLevel > 1) {
        StoreDebug("  >> returnCount: " + num(read));
        StoreDebug("  >> " + num(read) + " b Content");
        StoreDebugb(reinterpret_cast<const uint8_t*>(buffer.data()), long(read), long(buffer.size()));
    }
    logResult("", s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviRead(ViSession vi, std::string& buffer, uint32_t count, uint32_t& read) {
    return loggedRead("viRead", false, vi, buffer, count, read);
}

ViStatus VIF::VIFviBufRead(ViSession vi, std::string& buffer, uint32_t count, uint32_t& read) {
    return loggedRead("VIFviBufRead", true, vi, buffer, count, read);
}

ViStatus VIF::VIFviGetAttribute(ViSession vi, ViAttr attribute, uint32_t& value) {
    if (DebugLevel > 1) StoreDebug("  viGetAttribute(" + num(vi) + "," + num(attribute) + ")");
    // Attributes narrower than 32 bits fill the low end of a zeroed word.
    ViUInt32 v = 0;
    ViStatus s = viGetAttribute(vi, attribute, &v);
    if (s >= 0) value = v;
    logResult("  >> attributeValue: " + num(v), s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviSetAttribute(ViSession vi, ViAttr attribute, uint32_t value) {
    if (DebugLevel > 1) StoreDebug("  viSetAttribute(" + num(vi) + "," + num(attribute) + "," + num(value) + ")");
    ViStatus s = viSetAttribute(vi, attribute, value);
    logResult("", s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviClear(ViSession vi) {
    if (DebugLevel > 1) StoreDebug("  viClear(" + num(vi) + ")");
    ViStatus s = viClear(vi);
    logResult("", s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

ViStatus VIF::VIFviGpibControlREN(ViSession vi, uint16_t mode) { return viGpibControlREN(vi, mode); }

ViStatus VIF::VIFviClose(ViSession vi) {
    if (DebugLevel > 1) StoreDebug("  viClose(" + num(vi) + ")");
    ViStatus s = viClose(vi);
    logResult("", s);
    if (DebugLevel > 1) StoreDebug("");
    return s;
}

std::string OpenFailureReason(const VIF& v) {
    const ViStatus s = v.LastVisaStatus();
    if (!visaAvailable() || !v.VISAFound()) return "no VISA layer is available";
    if (s < 0) return visa::statusName(s) + " (" + visa::statusText(s) + ")";
    return "the session did not open";
}

std::string OpenFailureText(const std::string& resource, const VIF& v) {
    const ViStatus s = v.LastVisaStatus();
    return "The instrument " + resource + " could not be opened" + (s < 0 ? ": " + visa::statusText(s) : std::string()) +
           ".";
}

}  // namespace qv::io
