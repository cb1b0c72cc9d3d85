// The VISA operations: a table of open objects (resource managers,
// instrument sessions, find lists) and the dispatch of each call to the
// session's backend, found by the resource's kind in the backend table.
#include "visa.h"

#include "backend.h"
#include "find.h"
#include "resource.h"
#include "status_text.h"
#include "vendor.h"
#include "visa_log.h"

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace qv::visa {
namespace {

enum class Kind { ResourceManager, Instrument, FindList };

struct Object {
    Kind kind;
    ViSession rm = 0;  // owning resource manager (0 for managers)
    // ResourceManager
    std::set<ViObject> children;
    // Instrument
    std::unique_ptr<Backend> backend;
    std::mutex io;  // one operation at a time on a session
    // FindList
    std::vector<std::string> found;
    size_t next = 0;
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

void closeObject(ViObject h, const std::shared_ptr<Object>& obj) {
    switch (obj->kind) {
    case Kind::Instrument: {
        std::lock_guard<std::mutex> lk(obj->io);
        if (obj->backend) obj->backend->close();
        obj->backend.reset();
        break;
    }
    case Kind::FindList: break;
    case Kind::ResourceManager: {
        std::set<ViObject> children;
        {
            std::lock_guard<std::mutex> lk(g_mutex);
            children.swap(obj->children);
        }
        for (ViObject c : children)
            if (auto child = takeObject(c)) closeObject(c, child);
        releaseVendorManagers(h);
        break;
    }
    }
}

void copyName(ViChar* dst, const std::string& s) { storeAttribute(AttrValue::text(s), dst); }

// Runs an operation on an instrument session, one at a time.
template <typename Op>
ViStatus onSession(Object& obj, Op op) {
    std::lock_guard<std::mutex> lk(obj.io);
    if (!obj.backend) return VI_ERROR_INV_OBJECT;  // closed meanwhile
    return op(*obj.backend);
}

template <typename Op>
ViStatus withSession(ViSession vi, Op op) {
    auto obj = getObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    if (obj->kind != Kind::Instrument) return VI_ERROR_NSUP_OPER;
    return onSession(*obj, op);
}

// An operation that moves bytes: what moved goes to retCnt, also when it
// failed part-way.
template <typename Op>
ViStatus withCount(ViSession vi, ViPUInt32 retCnt, Op op) {
    return withSession(vi, [&](Backend& b) {
        ViUInt32 n = 0;
        ViStatus s = op(b, n);
        if (retCnt) *retCnt = n;
        return s;
    });
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
    OpenRequest req;
    if (!parseResource(name, req.resource)) {
        logMessage(std::string("\"") + name + "\" is not a resource name");
        return VI_ERROR_INV_RSRC_NAME;
    }
    const Resource& res = req.resource;
    auto backend = makeBackend(res.kind);
    if (!backend) {
        logMessage(res.canonical + ": no backend serves this kind of resource");
        return VI_ERROR_RSRC_NFOUND;
    }
    req.text = name;
    req.rm = sesn;
    req.mode = mode;
    req.timeoutMs = timeout;
    // 0 asks for the default wait; the open time-out bounds the whole open.
    req.deadline = Deadline::afterMs(timeout == 0 ? 5000 : timeout);
    std::string reason;
    ViStatus s = backend->open(req, reason);
    if (s < 0) {
        backend->close();
        logMessage(res.canonical + ": " + (reason.empty() ? statusText(s) : reason));
        return s;
    }
    auto obj = std::make_shared<Object>();
    obj->kind = Kind::Instrument;
    obj->rm = sesn;
    obj->backend = std::move(backend);
    // Closed meanwhile? Then the new session goes with it.
    if (!getObject(sesn)) {
        obj->backend->close();
        releaseVendorManagers(sesn);
        return VI_ERROR_INV_OBJECT;
    }
    *vi = addObject(std::move(obj));
    return s;
}

ViStatus viClose(ViObject vi) {
    if (vi == VI_NULL) return VI_WARN_NULL_OBJECT;
    auto obj = takeObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    closeObject(vi, obj);
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
    vendorResources(sesn, expr, list->found);
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
    if (obj->kind == Kind::Instrument)
        return onSession(*obj, [&](Backend& b) { return b.getAttribute(attr, value); });
    // Resource managers and find lists: who made them, nothing more.
    switch (attr) {
    case VI_ATTR_RSRC_MANF_NAME: storeAttribute(AttrValue::text(kManufacturer), value); return VI_SUCCESS;
    case VI_ATTR_RSRC_SPEC_VERSION: storeAttribute(AttrValue::number(AttrType::U32, kSpecVersion), value); return VI_SUCCESS;
    case VI_ATTR_RSRC_IMPL_VERSION: storeAttribute(AttrValue::number(AttrType::U32, kImplVersion), value); return VI_SUCCESS;
    default: return VI_ERROR_NSUP_ATTR;
    }
}

ViStatus viSetAttribute(ViObject vi, ViAttr attr, ViAttrState value) {
    auto obj = getObject(vi);
    if (!obj) return VI_ERROR_INV_OBJECT;
    if (obj->kind != Kind::Instrument) return VI_ERROR_NSUP_ATTR;
    return onSession(*obj, [&](Backend& b) { return b.setAttribute(attr, value); });
}

ViStatus viRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!buf && cnt) return VI_ERROR_USER_BUF;
    return withCount(vi, retCnt, [&](Backend& b, ViUInt32& n) { return b.read(buf, cnt, n); });
}

// There is no formatted I/O buffer in this layer: a buffered read is a read,
// unless a vendor library serves the session.
ViStatus viBufRead(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!buf && cnt) return VI_ERROR_USER_BUF;
    return withCount(vi, retCnt, [&](Backend& b, ViUInt32& n) { return b.bufRead(buf, cnt, n); });
}

ViStatus viWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!buf && cnt) return VI_ERROR_USER_BUF;
    return withCount(vi, retCnt, [&](Backend& b, ViUInt32& n) { return b.write(buf, cnt, n); });
}

ViStatus viReadToFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!filename) return VI_ERROR_FILE_ACCESS;
    return withCount(vi, retCnt, [&](Backend& b, ViUInt32& n) { return b.readToFile(filename, cnt, n); });
}

ViStatus viWriteFromFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    if (!filename) return VI_ERROR_FILE_ACCESS;
    return withCount(vi, retCnt, [&](Backend& b, ViUInt32& n) { return b.writeFromFile(filename, cnt, n); });
}

ViStatus viReadSTB(ViSession vi, ViPUInt16 status) {
    if (!status) return VI_ERROR_INV_PARAMETER;
    return withSession(vi, [&](Backend& b) { return b.readStb(*status); });
}

ViStatus viClear(ViSession vi) {
    return withSession(vi, [&](Backend& b) { return b.clear(); });
}

ViStatus viGpibControlREN(ViSession vi, ViUInt16 mode) {
    if (mode > VI_GPIB_REN_ADDRESS_GTL) return VI_ERROR_INV_MODE;
    return withSession(vi, [&](Backend& b) { return b.gpibControlRen(mode); });
}

}  // extern "C"
