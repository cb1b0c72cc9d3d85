// The VISA operations: a table of open objects (resource managers,
// instrument sessions, find lists) and the dispatch of each call to the
// backend, or to a vendor library, that serves the session.
#include "visa.h"

#include "backend.h"
#include "find.h"
#include "resource.h"
#include "status_text.h"
#include "vendor.h"
#include "visa_log.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace qv::visa {
namespace {

enum class Kind { ResourceManager, Instrument, VendorInstrument, FindList };

struct Object {
    Kind kind;
    ViSession rm = 0;  // owning resource manager (0 for managers)
    // ResourceManager
    std::set<ViObject> children;
    ViSession vendorRm = 0;
    // Instrument
    Resource resource;
    std::unique_ptr<Backend> backend;
    std::mutex io;  // one operation at a time on a session
    // VendorInstrument
    ViSession vendorVi = 0;
    // FindList
    std::vector<std::string> found;
    size_t next = 0;
    ViFindList vendorFind = 0;
};

std::mutex g_mutex;
std::map<ViObject, std::shared_ptr<Object>> g_objects;
ViObject g_nextHandle = 1;

// Handles stay within 1..0x7FFFFFFF: callers keep them in signed 32-bit
// variables and read "above 0" as open.
ViObject addObject(std::shared_ptr<Object> obj) {
    std::lock_guard<std::mutex> lk(g_mutex);
    while (g_objects.count(g_nextHandle) || g_nextHandle == 0) g_nextHandle = (g_nextHandle % 0x7FFFFFFF) + 1;
    ViObject h = g_nextHandle;
    g_nextHandle = (g_nextHandle % 0x7FFFFFFF) + 1;
    g_objects[h] = std::move(obj);
    if (g_objects[h]->rm) {
        auto it = g_objects.find(g_objects[h]->rm);
        if (it != g_objects.end()) it->second->children.insert(h);
    }
    return h;
}

std::shared_ptr<Object> getObject(ViObject h) {
    std::lock_guard<std::mutex> lk(g_mutex);
    auto it = g_objects.find(h);
    return it == g_objects.end() ? nullptr : it->second;
}

std::shared_ptr<Object> takeObject(ViObject h) {
    std::lock_guard<std::mutex> lk(g_mutex);
    auto it = g_objects.find(h);
    if (it == g_objects.end()) return nullptr;
    auto obj = it->second;
    g_objects.erase(it);
    if (obj->rm) {
        auto parent = g_objects.find(obj->rm);
        if (parent != g_objects.end()) parent->second->children.erase(h);
    }
    return obj;
}

void closeObject(const std::shared_ptr<Object>& obj) {
    const VendorLibrary* lib = vendorLibrary();
    switch (obj->kind) {
    case Kind::Instrument: {
        std::lock_guard<std::mutex> lk(obj->io);
        if (obj->backend) obj->backend->close();
        obj->backend.reset();
        break;
    }
    case Kind::VendorInstrument:
        if (lib) lib->close(obj->vendorVi);
        break;
    case Kind::FindList:
        if (lib && obj->vendorFind) lib->close(obj->vendorFind);
        break;
    case Kind::ResourceManager: {
        std::set<ViObject> children;
        {
            std::lock_guard<std::mutex> lk(g_mutex);
            children.swap(obj->children);
        }
        for (ViObject c : children)
            if (auto child = takeObject(c)) closeObject(child);
        if (lib && obj->vendorRm) lib->close(obj->vendorRm);
        break;
    }
    }
}

// The vendor's resource manager behind one of ours, opened on first use.
ViStatus vendorRmFor(Object& rm, const VendorLibrary& lib, ViSession& out) {
    std::lock_guard<std::mutex> lk(g_mutex);
    if (!rm.vendorRm) {
        ViSession v = 0;
        ViStatus s = lib.openDefaultRM(&v);
        if (s < 0) return s;
        rm.vendorRm = v;
    }
    out = rm.vendorRm;
    return VI_SUCCESS;
}

void copyName(ViChar* dst, const std::string& s) {
    size_t n = std::min(s.size(), size_t(VI_FIND_BUFLEN - 1));
    std::memcpy(dst, s.data(), n);
    dst[n] = '\0';
}

std::unique_ptr<Backend> backendFor(ResourceKind k) {
    switch (k) {
    case ResourceKind::TcpipInstr: return makeVxi11Backend();
    case ResourceKind::TcpipSocket: return makeSocketBackend();
    case ResourceKind::Asrl: return makeSerialBackend();
    default: return nullptr;
    }
}

// ---- attributes --------------------------------------------------------

enum class AType { U8, U16, U32, Bool, Str };

struct AttrValue {
    AType type = AType::U32;
    uint64_t num = 0;
    std::string str;
};

bool isTcpip(const Object& o) {
    return o.resource.kind == ResourceKind::TcpipInstr || o.resource.kind == ResourceKind::TcpipSocket;
}
bool isSocket(const Object& o) { return o.resource.kind == ResourceKind::TcpipSocket; }
bool isSerial(const Object& o) { return o.resource.kind == ResourceKind::Asrl; }

constexpr uint32_t kSpecVersion = 0x00500800;  // the published revision this layer follows
constexpr uint32_t kImplVersion = 0x00100000;

bool getInstrAttr(const Object& o, ViAttr attr, AttrValue& v) {
    const SessionAttrs& a = o.backend->attrs;
    auto num = [&](AType t, uint64_t x) {
        v.type = t;
        v.num = x;
        return true;
    };
    auto str = [&](const std::string& s) {
        v.type = AType::Str;
        v.str = s;
        return true;
    };
    switch (attr) {
    case VI_ATTR_RSRC_NAME: return str(o.resource.canonical);
    case VI_ATTR_RSRC_CLASS: return str(isSocket(o) ? "SOCKET" : "INSTR");
    case VI_ATTR_RSRC_MANF_NAME: return str("Quilvane");
    case VI_ATTR_RSRC_MANF_ID: return num(AType::U16, 0);
    case VI_ATTR_RSRC_SPEC_VERSION: return num(AType::U32, kSpecVersion);
    case VI_ATTR_RSRC_IMPL_VERSION: return num(AType::U32, kImplVersion);
    case VI_ATTR_RSRC_LOCK_STATE: return num(AType::U32, VI_NO_LOCK);
    case VI_ATTR_RM_SESSION: return num(AType::U32, o.rm);
    case VI_ATTR_INTF_TYPE: return num(AType::U16, o.backend->interfaceType());
    case VI_ATTR_INTF_NUM: return num(AType::U16, o.resource.board);
    case VI_ATTR_TMO_VALUE: return num(AType::U32, a.timeoutMs);
    case VI_ATTR_TERMCHAR: return num(AType::U8, a.termChar);
    case VI_ATTR_TERMCHAR_EN: return num(AType::Bool, a.termCharEn);
    case VI_ATTR_SEND_END_EN: return num(AType::Bool, a.sendEnd);
    case VI_ATTR_GPIB_READDR_EN: return num(AType::Bool, a.gpibReaddr);
    case VI_ATTR_GPIB_UNADDR_EN: return num(AType::Bool, a.gpibUnaddr);
    case VI_ATTR_FILE_APPEND_EN: return num(AType::Bool, a.fileAppend);
    case VI_ATTR_IO_PROT: return num(AType::U16, a.ioProt);
    default: break;
    }
    if (isTcpip(o)) {
        switch (attr) {
        case VI_ATTR_TCPIP_ADDR:
        case VI_ATTR_TCPIP_HOSTNAME: return str(o.resource.host);
        case VI_ATTR_TCPIP_NODELAY: return num(AType::Bool, a.tcpNoDelay);
        case VI_ATTR_TCPIP_KEEPALIVE: return num(AType::Bool, a.tcpKeepAlive);
        default: break;
        }
        if (isSocket(o) && attr == VI_ATTR_TCPIP_PORT) return num(AType::U16, o.resource.port);
        if (isSocket(o) && attr == VI_ATTR_SUPPRESS_END_EN) return num(AType::Bool, a.suppressEnd);
        if (!isSocket(o) && attr == VI_ATTR_TCPIP_DEVICE_NAME) return str(o.resource.lanDevice);
    }
    if (isSerial(o)) {
        switch (attr) {
        case VI_ATTR_ASRL_BAUD: return num(AType::U32, a.baud);
        case VI_ATTR_ASRL_DATA_BITS: return num(AType::U16, a.dataBits);
        case VI_ATTR_ASRL_PARITY: return num(AType::U16, a.parity);
        case VI_ATTR_ASRL_STOP_BITS: return num(AType::U16, a.stopBits);
        case VI_ATTR_ASRL_FLOW_CNTRL: return num(AType::U16, a.flow);
        case VI_ATTR_ASRL_END_IN: return num(AType::U16, a.endIn);
        case VI_ATTR_ASRL_END_OUT: return num(AType::U16, a.endOut);
        default: break;
        }
    }
    return false;
}

// VI_SUCCESS, or why the value or attribute is refused.
ViStatus setInstrAttr(Object& o, ViAttr attr, ViAttrState value) {
    SessionAttrs& a = o.backend->attrs;
    auto boolean = [&](bool& field) {
        if (value > 1) return VI_ERROR_NSUP_ATTR_STATE;
        field = value != 0;
        return VI_SUCCESS;
    };
    auto u16 = [&](uint16_t& field, std::initializer_list<uint16_t> allowed) {
        for (uint16_t x : allowed)
            if (value == x) {
                field = x;
                return VI_SUCCESS;
            }
        return VI_ERROR_NSUP_ATTR_STATE;
    };
    switch (attr) {
    case VI_ATTR_TMO_VALUE:
        if (value > 0xFFFFFFFFull) return VI_ERROR_NSUP_ATTR_STATE;
        a.timeoutMs = uint32_t(value);
        return VI_SUCCESS;
    case VI_ATTR_TERMCHAR:
        if (value > 0xFF) return VI_ERROR_NSUP_ATTR_STATE;
        a.termChar = uint8_t(value);
        return VI_SUCCESS;
    case VI_ATTR_TERMCHAR_EN: return boolean(a.termCharEn);
    case VI_ATTR_SEND_END_EN: return boolean(a.sendEnd);
    // Accepted on every session so that GPIB-minded callers work anywhere;
    // they change nothing off GPIB.
    case VI_ATTR_GPIB_READDR_EN: return boolean(a.gpibReaddr);
    case VI_ATTR_GPIB_UNADDR_EN: return boolean(a.gpibUnaddr);
    case VI_ATTR_FILE_APPEND_EN: return boolean(a.fileAppend);
    case VI_ATTR_IO_PROT: return u16(a.ioProt, {1, 4});
    case VI_ATTR_RSRC_NAME:
    case VI_ATTR_RSRC_CLASS:
    case VI_ATTR_RSRC_MANF_NAME:
    case VI_ATTR_RSRC_MANF_ID:
    case VI_ATTR_RSRC_SPEC_VERSION:
    case VI_ATTR_RSRC_IMPL_VERSION:
    case VI_ATTR_RSRC_LOCK_STATE:
    case VI_ATTR_RM_SESSION:
    case VI_ATTR_INTF_TYPE:
    case VI_ATTR_INTF_NUM: return VI_ERROR_ATTR_READONLY;
    default: break;
    }
    if (isTcpip(o)) {
        switch (attr) {
        case VI_ATTR_TCPIP_NODELAY: return boolean(a.tcpNoDelay);
        case VI_ATTR_TCPIP_KEEPALIVE: return boolean(a.tcpKeepAlive);
        case VI_ATTR_TCPIP_ADDR:
        case VI_ATTR_TCPIP_HOSTNAME:
        case VI_ATTR_TCPIP_PORT:
        case VI_ATTR_TCPIP_DEVICE_NAME: return VI_ERROR_ATTR_READONLY;
        default: break;
        }
        if (isSocket(o) && attr == VI_ATTR_SUPPRESS_END_EN) return boolean(a.suppressEnd);
    }
    if (isSerial(o)) {
        switch (attr) {
        case VI_ATTR_ASRL_BAUD:
            if (value == 0 || value > 4000000) return VI_ERROR_NSUP_ATTR_STATE;
            a.baud = uint32_t(value);
            return VI_SUCCESS;
        case VI_ATTR_ASRL_DATA_BITS: return u16(a.dataBits, {5, 6, 7, 8});
        case VI_ATTR_ASRL_PARITY: return u16(a.parity, {0, 1, 2});
        case VI_ATTR_ASRL_STOP_BITS: return u16(a.stopBits, {10, 20});
        case VI_ATTR_ASRL_FLOW_CNTRL: return u16(a.flow, {0, 1, 2});
        case VI_ATTR_ASRL_END_IN: return u16(a.endIn, {0, 2});
        case VI_ATTR_ASRL_END_OUT: return u16(a.endOut, {0, 2});
        default: break;
        }
    }
    return VI_ERROR_NSUP_ATTR;
}

void storeAttr(const AttrValue& v, void* out) {
    switch (v.type) {
    case AType::U8: *static_cast<ViUInt8*>(out) = ViUInt8(v.num); break;
    case AType::U16:
    case AType::Bool: *static_cast<ViUInt16*>(out) = ViUInt16(v.num); break;
    case AType::U32: *static_cast<ViUInt32*>(out) = ViUInt32(v.num); break;
    case AType::Str: copyName(static_cast<ViChar*>(out), v.str); break;
    }
}

// Runs an operation on an instrument session, or forwards it to the vendor.
template <typename Local, typename Remote>
ViStatus withSession(ViSession vi, Local local, Remote remote) {
    auto obj = getObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    if (obj->kind == Kind::VendorInstrument) {
        const VendorLibrary* lib = vendorLibrary();
        return lib ? remote(*lib, obj->vendorVi) : VI_ERROR_INV_OBJECT;
    }
    if (obj->kind != Kind::Instrument) return VI_ERROR_NSUP_OPER;
    std::lock_guard<std::mutex> lk(obj->io);
    if (!obj->backend) return VI_ERROR_INV_OBJECT;
    return local(*obj);
}

}  // namespace
}  // namespace qv::visa

using namespace qv::visa;

extern "C" {

ViStatus viOpenDefaultRM(ViPSession vi) {
    if (!vi) return VI_ERROR_INV_PARAMETER;
    auto obj = std::make_shared<Object>();
    obj->kind = Kind::ResourceManager;
    *vi = addObject(std::move(obj));
    return VI_SUCCESS;
}

ViStatus viOpen(ViSession sesn, ViConstRsrc name, ViAccessMode mode, ViUInt32 timeout, ViPSession vi) {
    if (vi) *vi = VI_NULL;
    auto rm = getObject(sesn);
    if (!rm || rm->kind != Kind::ResourceManager) return VI_ERROR_INV_OBJECT;
    if (!vi) return VI_ERROR_INV_PARAMETER;
    if (!name) return VI_ERROR_INV_RSRC_NAME;
    // Locks are accepted and mean nothing: a session owns its connection.
    if (mode & ~ViAccessMode(1 | 2 | 4)) return VI_ERROR_INV_ACC_MODE;
    Resource res;
    if (!parseResource(name, res)) {
        logMessage(std::string("\"") + name + "\" is not a resource name");
        return VI_ERROR_INV_RSRC_NAME;
    }
    if (res.kind == ResourceKind::Foreign || (res.kind == ResourceKind::Asrl && res.device.empty())) {
        std::string why;
        const VendorLibrary* lib = vendorLibrary(&why);
        if (!lib) {
            logMessage(res.canonical + ": the built-in layer does not serve " + res.why + " resources; " + why);
            return VI_ERROR_RSRC_NFOUND;
        }
        ViSession vrm = 0, v = 0;
        ViStatus s = vendorRmFor(*rm, *lib, vrm);
        if (s >= 0) s = lib->open(vrm, name, mode, timeout, &v);
        if (s < 0) {
            logMessage(res.canonical + ": the vendor VISA library answered " + statusName(s));
            return s;
        }
        auto obj = std::make_shared<Object>();
        obj->kind = Kind::VendorInstrument;
        obj->rm = sesn;
        obj->vendorVi = v;
        *vi = addObject(std::move(obj));
        return s;
    }
    auto backend = backendFor(res.kind);
    std::string reason;
    // 0 asks for the default wait; the open time-out bounds the whole open.
    Deadline dl = Deadline::afterMs(timeout == 0 ? 5000 : timeout);
    ViStatus s = backend->open(res, dl, reason);
    if (s < 0) {
        backend->close();
        logMessage(res.canonical + ": " + (reason.empty() ? statusText(s) : reason));
        return s;
    }
    auto obj = std::make_shared<Object>();
    obj->kind = Kind::Instrument;
    obj->rm = sesn;
    obj->resource = res;
    obj->backend = std::move(backend);
    // Closed meanwhile? Then the new session goes with it.
    if (!getObject(sesn)) {
        obj->backend->close();
        return VI_ERROR_INV_OBJECT;
    }
    *vi = addObject(std::move(obj));
    return VI_SUCCESS;
}

ViStatus viClose(ViObject vi) {
    if (vi == VI_NULL) return VI_WARN_NULL_OBJECT;
    auto obj = takeObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    closeObject(obj);
    return VI_SUCCESS;
}

ViStatus viFindRsrc(ViSession sesn, ViConstString expr, ViPFindList vi, ViPUInt32 retCnt, ViChar desc[]) {
    if (vi) *vi = VI_NULL;
    if (retCnt) *retCnt = 0;
    auto rm = getObject(sesn);
    if (!rm || rm->kind != Kind::ResourceManager) return VI_ERROR_INV_OBJECT;
    FindExpression fx;
    if (!expr || !fx.compile(expr)) {
        logMessage(std::string("search expression \"") + (expr ? expr : "") + "\" is not valid here");
        return VI_ERROR_INV_EXPR;
    }
    auto list = std::make_shared<Object>();
    list->kind = Kind::FindList;
    list->rm = sesn;
    for (auto& r : builtinResources())
        if (fx.matches(r)) list->found.push_back(r);
    if (const VendorLibrary* lib = vendorLibrary(); lib && lib->findRsrc && lib->findNext) {
        ViSession vrm = 0;
        ViFindList vf = 0;
        ViUInt32 n = 0;
        ViChar buf[VI_FIND_BUFLEN] = {};
        if (vendorRmFor(*rm, *lib, vrm) >= 0 && lib->findRsrc(vrm, expr, &vf, &n, buf) >= 0) {
            for (ViUInt32 i = 0; i < n && i < 4096; ++i) {
                if (i > 0 && lib->findNext(vf, buf) < 0) break;
                buf[VI_FIND_BUFLEN - 1] = '\0';
                list->found.emplace_back(buf);
            }
            lib->close(vf);
        }
    }
    if (list->found.empty()) return VI_ERROR_RSRC_NFOUND;
    if (retCnt) *retCnt = ViUInt32(list->found.size());
    if (desc) copyName(desc, list->found[0]);
    list->next = 1;
    ViObject h = addObject(std::move(list));
    if (vi) *vi = h;
    else viClose(h);
    return VI_SUCCESS;
}

ViStatus viFindNext(ViFindList vi, ViChar desc[]) {
    auto obj = getObject(vi);
    if (!obj || obj->kind != Kind::FindList) return VI_ERROR_INV_OBJECT;
    std::lock_guard<std::mutex> lk(obj->io);
    if (obj->next >= obj->found.size()) return VI_ERROR_RSRC_NFOUND;
    if (desc) copyName(desc, obj->found[obj->next]);
    ++obj->next;
    return VI_SUCCESS;
}

ViStatus viGetAttribute(ViObject vi, ViAttr attr, void* value) {
    auto obj = getObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    if (!value) return VI_ERROR_INV_PARAMETER;
    if (obj->kind == Kind::VendorInstrument) {
        const VendorLibrary* lib = vendorLibrary();
        return lib ? lib->getAttribute(obj->vendorVi, attr, value) : VI_ERROR_INV_OBJECT;
    }
    if (obj->kind == Kind::Instrument) {
        std::lock_guard<std::mutex> lk(obj->io);
        if (!obj->backend) return VI_ERROR_INV_OBJECT;
        AttrValue v;
        if (!getInstrAttr(*obj, attr, v)) return VI_ERROR_NSUP_ATTR;
        storeAttr(v, value);
        return VI_SUCCESS;
    }
    AttrValue v;
    switch (attr) {
    case VI_ATTR_RSRC_MANF_NAME: v.type = AType::Str; v.str = "Quilvane"; break;
    case VI_ATTR_RSRC_SPEC_VERSION: v.num = kSpecVersion; break;
    case VI_ATTR_RSRC_IMPL_VERSION: v.num = kImplVersion; break;
    default: return VI_ERROR_NSUP_ATTR;
    }
    storeAttr(v, value);
    return VI_SUCCESS;
}

ViStatus viSetAttribute(ViObject vi, ViAttr attr, ViAttrState value) {
    auto obj = getObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    if (obj->kind == Kind::VendorInstrument) {
        const VendorLibrary* lib = vendorLibrary();
        return lib ? lib->setAttribute(obj->vendorVi, attr, value) : VI_ERROR_INV_OBJECT;
    }
    if (obj->kind != Kind::Instrument) return VI_ERROR_NSUP_ATTR;
    std::lock_guard<std::mutex> lk(obj->io);
    if (!obj->backend) return VI_ERROR_INV_OBJECT;
    ViStatus s = setInstrAttr(*obj, attr, value);
    if (s == VI_SUCCESS) s = obj->backend->attributeChanged(attr);
    return s;
}

ViStatus viRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!buf && cnt) return VI_ERROR_USER_BUF;
    return withSession(
        vi,
        [&](Object& o) {
            MemorySink sink(buf, cnt);
            ViUInt32 got = 0;
            ViStatus s = o.backend->read(sink, cnt, got);
            if (retCnt) *retCnt = got;
            return s;
        },
        [&](const VendorLibrary& lib, ViSession v) { return lib.read(v, buf, cnt, retCnt); });
}

// There is no formatted I/O buffer in this layer: a buffered read is a read.
ViStatus viBufRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    auto obj = getObject(vi);
    if (obj && obj->kind == Kind::VendorInstrument) {
        const VendorLibrary* lib = vendorLibrary();
        if (lib && lib->bufRead) return lib->bufRead(obj->vendorVi, buf, cnt, retCnt);
    }
    return viRead(vi, buf, cnt, retCnt);
}

ViStatus viWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!buf && cnt) return VI_ERROR_USER_BUF;
    return withSession(
        vi,
        [&](Object& o) {
            ViUInt32 n = 0;
            ViStatus s = o.backend->write(buf, cnt, true, n);
            if (retCnt) *retCnt = n;
            return s;
        },
        [&](const VendorLibrary& lib, ViSession v) { return lib.write(v, buf, cnt, retCnt); });
}

ViStatus viReadToFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!filename) return VI_ERROR_FILE_ACCESS;
    return withSession(
        vi,
        [&](Object& o) {
            int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (o.backend->attrs.fileAppend ? O_APPEND : O_TRUNC);
            Fd fd(::open(filename, flags, 0644));
            if (!fd) {
                logMessage(std::string("cannot open ") + filename + " for writing: " + strerror(errno));
                return VI_ERROR_FILE_ACCESS;
            }
            // On disk file systems, reserving the whole length at once is
            // much cheaper than growing the file page by page (tmpfs would
            // zero the pages first: there it costs). What is not used goes
            // again below.
            struct statfs fs {};
            const bool reserved = !o.backend->attrs.fileAppend && cnt >= (4u << 20) &&
                                  fstatfs(fd.get(), &fs) == 0 && fs.f_type != TMPFS_MAGIC &&
                                  fallocate(fd.get(), 0, 0, off_t(cnt)) == 0;
            FileSink sink(fd.get());
            ViUInt32 got = 0;
            ViStatus s = o.backend->read(sink, cnt, got);
            if (retCnt) *retCnt = got;
            if (reserved && ftruncate(fd.get(), off_t(got)) != 0 && s >= 0) s = VI_ERROR_FILE_IO;
            if (::close(fd.release()) != 0 && s >= 0) s = VI_ERROR_FILE_IO;
            return s;
        },
        [&](const VendorLibrary& lib, ViSession v) {
            return lib.readToFile ? lib.readToFile(v, filename, cnt, retCnt) : VI_ERROR_NSUP_OPER;
        });
}

ViStatus viWriteFromFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!filename) return VI_ERROR_FILE_ACCESS;
    return withSession(
        vi,
        [&](Object& o) {
            Fd fd(::open(filename, O_RDONLY | O_CLOEXEC));
            if (!fd) {
                logMessage(std::string("cannot open ") + filename + ": " + strerror(errno));
                return VI_ERROR_FILE_ACCESS;
            }
            // Two pieces in hand, so that the last one is known to be last
            // and carries END; memory stays at two pieces whatever the size.
            constexpr size_t kPiece = 1 << 20;
            std::vector<uint8_t> cur(kPiece), ahead(kPiece);
            auto fill = [&](std::vector<uint8_t>& b, uint64_t want, size_t& n) {
                n = 0;
                while (n < want) {
                    ssize_t r = ::read(fd.get(), b.data() + n, size_t(want - n));
                    if (r < 0 && errno == EINTR) continue;
                    if (r < 0) return false;
                    if (r == 0) break;
                    n += size_t(r);
                }
                return true;
            };
            uint64_t left = cnt;
            size_t curN = 0, aheadN = 0;
            if (!fill(cur, std::min<uint64_t>(left, kPiece), curN)) return VI_ERROR_FILE_IO;
            left -= curN;
            ViUInt32 total = 0;
            for (;;) {
                if (!fill(ahead, std::min<uint64_t>(left, kPiece), aheadN)) return VI_ERROR_FILE_IO;
                left -= aheadN;
                bool last = aheadN == 0;
                ViUInt32 n = 0;
                ViStatus s = o.backend->write(cur.data(), ViUInt32(curN), last, n);
                total += n;
                if (retCnt) *retCnt = total;
                if (s < 0 || last) return s;
                cur.swap(ahead);
                curN = aheadN;
            }
        },
        [&](const VendorLibrary& lib, ViSession v) {
            return lib.writeFromFile ? lib.writeFromFile(v, filename, cnt, retCnt) : VI_ERROR_NSUP_OPER;
        });
}

ViStatus viReadSTB(ViSession vi, ViPUInt16 status) {
    if (!status) return VI_ERROR_INV_PARAMETER;
    return withSession(
        vi, [&](Object& o) { return o.backend->readStb(*status); },
        [&](const VendorLibrary& lib, ViSession v) { return lib.readSTB ? lib.readSTB(v, status) : VI_ERROR_NSUP_OPER; });
}

ViStatus viClear(ViSession vi) {
    return withSession(
        vi, [&](Object& o) { return o.backend->clear(); },
        [&](const VendorLibrary& lib, ViSession v) { return lib.clear ? lib.clear(v) : VI_ERROR_NSUP_OPER; });
}

ViStatus viGpibControlREN(ViSession vi, ViUInt16 mode) {
    if (mode > VI_GPIB_REN_ADDRESS_GTL) return VI_ERROR_INV_MODE;
    return withSession(
        vi, [&](Object& o) { return o.backend->gpibControlRen(mode); },
        [&](const VendorLibrary& lib, ViSession v) {
            return lib.gpibControlREN ? lib.gpibControlREN(v, mode) : VI_ERROR_NSUP_OPER;
        });
}

}  // extern "C"
