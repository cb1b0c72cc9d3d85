// A stand-in for a vendor VISA library: it serves GPIB resources with a
// canned answer that echoes the resource and the last command, so tests can
// see that calls were handed over.
#include "instrument_io/visa/visa.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {
struct Fake {
    std::string resource, last;
};
std::map<ViSession, Fake> g_sessions;
ViSession g_next = 100;

// With FAKE_VISA_WRITE_LOG set, every buffer written (viWrite, or a file's
// bytes through viWriteFromFile) becomes one line of that file: printable
// bytes as they are, LF as "\n", others as "\xHH".
void recordWrite(const char* data, size_t n) {
    const char* path = std::getenv("FAKE_VISA_WRITE_LOG");
    if (!path || !*path) return;
    std::string line;
    for (size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(data[i]);
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", c);
        line += c == '\n' ? std::string("\\n") : (c >= 32 && c < 127 && c != '\\') ? std::string(1, char(c)) : hex;
    }
    line += '\n';
    if (FILE* f = std::fopen(path, "ab")) {
        std::fwrite(line.data(), 1, line.size(), f);
        std::fclose(f);
    }
}
}  // namespace

extern "C" {
__attribute__((visibility("default"))) ViStatus viOpenDefaultRM(ViPSession vi) {
    *vi = 1;
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viOpen(ViSession, ViConstRsrc name, ViAccessMode, ViUInt32, ViPSession vi) {
    if (std::strncmp(name, "GPIB", 4) != 0) return VI_ERROR_RSRC_NFOUND;
    *vi = g_next++;
    g_sessions[*vi].resource = name;
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viClose(ViObject vi) {
    g_sessions.erase(vi);
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 ret) {
    std::string s(reinterpret_cast<const char*>(buf), cnt);
    recordWrite(s.data(), s.size());
    while (!s.empty() && s.back() == '\n') s.pop_back();
    g_sessions[vi].last = s;
    if (ret) *ret = cnt;
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 ret) {
    std::string a = "FAKEVENDOR," + g_sessions[vi].resource + "," + g_sessions[vi].last + "\n";
    ViUInt32 n = ViUInt32(std::min<size_t>(a.size(), cnt));
    std::memcpy(buf, a.data(), n);
    if (ret) *ret = n;
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viReadSTB(ViSession, ViPUInt16 stb) {
    *stb = 0;
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viGetAttribute(ViObject, ViAttr, void*) { return VI_ERROR_NSUP_ATTR; }
__attribute__((visibility("default"))) ViStatus viSetAttribute(ViObject, ViAttr, ViAttrState) { return VI_SUCCESS; }
__attribute__((visibility("default"))) ViStatus viFindRsrc(ViSession, ViConstString, ViPFindList vi, ViPUInt32 cnt, ViChar* desc) {
    *vi = 99;
    *cnt = 2;
    std::strcpy(desc, "GPIB0::7::INSTR");
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viFindNext(ViFindList, ViChar* desc) {
    std::strcpy(desc, "GPIB0::9::INSTR");
    return VI_SUCCESS;
}
__attribute__((visibility("default"))) ViStatus viWriteFromFile(ViSession, ViConstString file, ViUInt32 cnt, ViPUInt32 ret) {
    std::string data(cnt, '\0');
    FILE* f = std::fopen(file, "rb");
    if (!f) return VI_ERROR_FILE_ACCESS;
    data.resize(std::fread(data.data(), 1, data.size(), f));
    std::fclose(f);
    recordWrite(data.data(), data.size());
    if (ret) *ret = ViUInt32(data.size());
    return VI_SUCCESS;
}
}
