#include "backend.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qv::visa {

namespace {

constexpr size_t kKinds = size_t(ResourceKind::Foreign) + 1;

// Filled by static initialisers before main and only read afterwards, so it
// needs no lock; a function-local table is there whatever the order in which
// the backend files initialise.
std::array<BackendFactory, kKinds>& registry() {
    static std::array<BackendFactory, kKinds> table{};
    return table;
}

}  // namespace

bool registerBackend(ResourceKind kind, BackendFactory make) {
    size_t i = size_t(kind);
    if (i >= kKinds || !make || registry()[i]) return false;
    registry()[i] = make;
    return true;
}

std::unique_ptr<Backend> makeBackend(ResourceKind kind) {
    size_t i = size_t(kind);
    if (i >= kKinds || !registry()[i]) return nullptr;
    return registry()[i]();
}

void storeAttribute(const AttrValue& v, void* out) {
    switch (v.type) {
    case AttrType::U8: *static_cast<ViUInt8*>(out) = ViUInt8(v.num); break;
    case AttrType::U16:
    case AttrType::Bool: *static_cast<ViUInt16*>(out) = ViUInt16(v.num); break;
    case AttrType::U32: *static_cast<ViUInt32*>(out) = ViUInt32(v.num); break;
    case AttrType::Str: {
        size_t n = std::min(v.str.size(), size_t(VI_FIND_BUFLEN - 1));
        auto* dst = static_cast<ViChar*>(out);
        std::memcpy(dst, v.str.data(), n);
        dst[n] = '\0';
        break;
    }
    }
}

ViStatus setBoolean(bool& field, ViAttrState value) {
    if (value > 1) return VI_ERROR_NSUP_ATTR_STATE;
    field = value != 0;
    return VI_SUCCESS;
}

ViStatus setChoice(uint16_t& field, ViAttrState value, std::initializer_list<uint16_t> allowed) {
    for (uint16_t x : allowed)
        if (value == x) {
            field = x;
            return VI_SUCCESS;
        }
    return VI_ERROR_NSUP_ATTR_STATE;
}

// ---- BuiltinBackend ---------------------------------------------------------

ViStatus BuiltinBackend::open(const OpenRequest& req, std::string& reason) {
    resource_ = req.resource;
    rm_ = req.rm;
    return connect(req.resource, req.deadline, reason);
}

ViStatus BuiltinBackend::read(uint8_t* buf, uint32_t count, uint32_t& got) {
    MemorySink sink(buf, count);
    return readInto(sink, count, got);
}

ViStatus BuiltinBackend::readToFile(const char* fileName, uint32_t count, uint32_t& got) {
    return readIntoFile(
        fileName, count, attrs.fileAppend,
        [this](Sink& sink, uint32_t n, uint32_t& g) { return readInto(sink, n, g); }, got);
}

ViStatus BuiltinBackend::write(const uint8_t* data, uint32_t count, uint32_t& written) {
    return writePiece(data, count, true, written);
}

ViStatus BuiltinBackend::writeFromFile(const char* fileName, uint32_t count, uint32_t& written) {
    return writeFileInPieces(
        fileName, count,
        [this](const uint8_t* d, uint32_t n, bool end, uint32_t& w) { return writePiece(d, n, end, w); },
        written);
}

ViStatus BuiltinBackend::getAttribute(ViAttr attr, void* value) {
    AttrValue v;
    if (!readAttribute(attr, v)) return VI_ERROR_NSUP_ATTR;
    storeAttribute(v, value);
    return VI_SUCCESS;
}

bool BuiltinBackend::readAttribute(ViAttr attr, AttrValue& v) const {
    const SessionAttrs& a = attrs;
    switch (attr) {
    case VI_ATTR_RSRC_NAME: v = AttrValue::text(resource_.canonical); return true;
    case VI_ATTR_RSRC_CLASS: v = AttrValue::text(resourceClass()); return true;
    case VI_ATTR_RSRC_MANF_NAME: v = AttrValue::text(kManufacturer); return true;
    case VI_ATTR_RSRC_MANF_ID: v = AttrValue::number(AttrType::U16, 0); return true;
    case VI_ATTR_RSRC_SPEC_VERSION: v = AttrValue::number(AttrType::U32, kSpecVersion); return true;
    case VI_ATTR_RSRC_IMPL_VERSION: v = AttrValue::number(AttrType::U32, kImplVersion); return true;
    case VI_ATTR_RSRC_LOCK_STATE: v = AttrValue::number(AttrType::U32, VI_NO_LOCK); return true;
    case VI_ATTR_RM_SESSION: v = AttrValue::number(AttrType::U32, rm_); return true;
    case VI_ATTR_INTF_TYPE: v = AttrValue::number(AttrType::U16, interfaceType()); return true;
    case VI_ATTR_INTF_NUM: v = AttrValue::number(AttrType::U16, resource_.board); return true;
    case VI_ATTR_TMO_VALUE: v = AttrValue::number(AttrType::U32, a.timeoutMs); return true;
    case VI_ATTR_TERMCHAR: v = AttrValue::number(AttrType::U8, a.termChar); return true;
    case VI_ATTR_TERMCHAR_EN: v = AttrValue::boolean(a.termCharEn); return true;
    case VI_ATTR_SEND_END_EN: v = AttrValue::boolean(a.sendEnd); return true;
    case VI_ATTR_GPIB_READDR_EN: v = AttrValue::boolean(a.gpibReaddr); return true;
    case VI_ATTR_GPIB_UNADDR_EN: v = AttrValue::boolean(a.gpibUnaddr); return true;
    case VI_ATTR_FILE_APPEND_EN: v = AttrValue::boolean(a.fileAppend); return true;
    case VI_ATTR_IO_PROT: v = AttrValue::number(AttrType::U16, a.ioProt); return true;
    default: return false;
    }
}

ViStatus BuiltinBackend::setAttribute(ViAttr attr, ViAttrState value) {
    SessionAttrs& a = attrs;
    switch (attr) {
    case VI_ATTR_TMO_VALUE:
        if (value > 0xFFFFFFFFull) return VI_ERROR_NSUP_ATTR_STATE;
        a.timeoutMs = uint32_t(value);
        return VI_SUCCESS;
    case VI_ATTR_TERMCHAR:
        if (value > 0xFF) return VI_ERROR_NSUP_ATTR_STATE;
        a.termChar = uint8_t(value);
        return VI_SUCCESS;
    case VI_ATTR_TERMCHAR_EN: return setBoolean(a.termCharEn, value);
    case VI_ATTR_SEND_END_EN: return setBoolean(a.sendEnd, value);
    // Accepted on every session so that GPIB-minded callers work anywhere;
    // they change nothing off GPIB.
    case VI_ATTR_GPIB_READDR_EN: return setBoolean(a.gpibReaddr, value);
    case VI_ATTR_GPIB_UNADDR_EN: return setBoolean(a.gpibUnaddr, value);
    case VI_ATTR_FILE_APPEND_EN: return setBoolean(a.fileAppend, value);
    case VI_ATTR_IO_PROT: return setChoice(a.ioProt, value, {VI_PROT_NORMAL, VI_PROT_4882_STRS});
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
    default: return VI_ERROR_NSUP_ATTR;
    }
}

// ---- TcpipAttrs ------------------------------------------------------------

bool TcpipAttrs::read(const Resource& r, ViAttr attr, AttrValue& v) const {
    switch (attr) {
    case VI_ATTR_TCPIP_ADDR:
    case VI_ATTR_TCPIP_HOSTNAME: v = AttrValue::text(r.host); return true;
    case VI_ATTR_TCPIP_NODELAY: v = AttrValue::boolean(noDelay); return true;
    case VI_ATTR_TCPIP_KEEPALIVE: v = AttrValue::boolean(keepAlive); return true;
    default: return false;
    }
}

bool TcpipAttrs::set(ViAttr attr, ViAttrState value, ViStatus& status) {
    switch (attr) {
    case VI_ATTR_TCPIP_NODELAY: status = setBoolean(noDelay, value); return true;
    case VI_ATTR_TCPIP_KEEPALIVE: status = setBoolean(keepAlive, value); return true;
    // Read-only on every TCPIP session, also where it has no value.
    case VI_ATTR_TCPIP_ADDR:
    case VI_ATTR_TCPIP_HOSTNAME:
    case VI_ATTR_TCPIP_PORT:
    case VI_ATTR_TCPIP_DEVICE_NAME: status = VI_ERROR_ATTR_READONLY; return true;
    default: return false;
    }
}

}  // namespace qv::visa
