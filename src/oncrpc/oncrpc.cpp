#include "oncrpc.h"

#include <algorithm>
#include <cstring>

namespace qv::rpc {

void XdrWriter::u32(uint32_t v) {
    uint8_t b[4] = {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
    out_.insert(out_.end(), b, b + 4);
}

void XdrWriter::opaque(const void* data, size_t size) {
    u32(static_cast<uint32_t>(size));
    const auto* p = static_cast<const uint8_t*>(data);
    if (size) out_.insert(out_.end(), p, p + size);
    out_.insert(out_.end(), xdrPad(size), uint8_t(0));
}

uint32_t XdrReader::u32() {
    if (!ok_ || n_ - pos_ < 4) {
        ok_ = false;
        return 0;
    }
    uint32_t v = getBE32(p_ + pos_);
    pos_ += 4;
    return v;
}

std::string_view XdrReader::opaque(size_t maxSize) {
    uint32_t len = u32();
    if (!ok_ || len > maxSize) {
        ok_ = false;
        return {};
    }
    size_t padded = size_t(len) + xdrPad(len);
    if (n_ - pos_ < padded) {
        ok_ = false;
        return {};
    }
    std::string_view v(reinterpret_cast<const char*>(p_ + pos_), len);
    pos_ += padded;
    return v;
}

void XdrReader::skip(size_t bytes) {
    if (!ok_ || n_ - pos_ < bytes) {
        ok_ = false;
        return;
    }
    pos_ += bytes;
}

namespace {
constexpr size_t kMaxAuthBody = 400;  // RFC 5531 limit on opaque_auth bodies

void putAuthNone(XdrWriter& w) {
    w.u32(0);  // AUTH_NONE
    w.u32(0);  // empty body
}

bool skipAuth(XdrReader& r) {
    r.u32();  // flavour: any is accepted, we never check credentials
    r.opaque(kMaxAuthBody);
    return r.ok();
}
}  // namespace

void encodeCall(XdrWriter& w, const CallHeader& h) {
    w.u32(h.xid);
    w.u32(kCall);
    w.u32(kRpcVersion);
    w.u32(h.prog);
    w.u32(h.vers);
    w.u32(h.proc);
    putAuthNone(w);  // credentials
    putAuthNone(w);  // verifier
}

bool decodeCall(XdrReader& r, CallHeader& h) {
    h.xid = r.u32();
    if (r.u32() != kCall || !r.ok()) return false;
    if (r.u32() != kRpcVersion) return false;
    h.prog = r.u32();
    h.vers = r.u32();
    h.proc = r.u32();
    return skipAuth(r) && skipAuth(r);
}

void encodeAcceptedReply(XdrWriter& w, uint32_t xid, AcceptStat stat) {
    w.u32(xid);
    w.u32(kReply);
    w.u32(0);  // MSG_ACCEPTED
    putAuthNone(w);
    w.u32(stat);
}

bool decodeReply(XdrReader& r, ReplyHeader& h) {
    h.xid = r.u32();
    if (r.u32() != kReply || !r.ok()) return false;
    uint32_t replyStat = r.u32();
    if (!r.ok()) return false;
    if (replyStat == 0) {
        h.accepted = true;
        if (!skipAuth(r)) return false;
        h.acceptStat = r.u32();
        return r.ok();
    }
    if (replyStat == 1) {
        h.accepted = false;
        h.rejectStat = r.u32();
        return r.ok();
    }
    return false;
}

size_t RecordAssembler::feed(const uint8_t* data, size_t size) {
    size_t used = 0;
    while (used < size && !complete_ && !failed_) {
        if (!inFragment_) {
            size_t take = std::min(size - used, size_t(4) - hdrFill_);
            std::memcpy(hdr_ + hdrFill_, data + used, take);
            hdrFill_ += take;
            used += take;
            if (hdrFill_ < 4) break;
            hdrFill_ = 0;
            uint32_t v = getBE32(hdr_);
            lastFragment_ = (v & kLastFragment) != 0;
            fragLeft_ = v & 0x7FFFFFFFu;
            if (record_.size() + fragLeft_ > max_) {
                failed_ = true;
                break;
            }
            inFragment_ = true;
            record_.reserve(record_.size() + fragLeft_);
        }
        size_t take = std::min(size - used, fragLeft_);
        record_.insert(record_.end(), data + used, data + used + take);
        used += take;
        fragLeft_ -= take;
        if (fragLeft_ == 0) {
            inFragment_ = false;
            if (lastFragment_) complete_ = true;
        }
    }
    return used;
}

Bytes RecordAssembler::takeRecord() {
    Bytes out;
    out.swap(record_);
    complete_ = false;
    return out;
}

void encodeMapping(XdrWriter& w, const PmapMapping& m) {
    w.u32(m.prog);
    w.u32(m.vers);
    w.u32(m.prot);
    w.u32(m.port);
}

bool decodeMapping(XdrReader& r, PmapMapping& m) {
    m.prog = r.u32();
    m.vers = r.u32();
    m.prot = r.u32();
    m.port = r.u32();
    return r.ok();
}

void encodeRpcb(XdrWriter& w, const RpcbEntry& e) {
    w.u32(e.prog);
    w.u32(e.vers);
    w.string(e.netid);
    w.string(e.addr);
    w.string(e.owner);
}

}  // namespace qv::rpc
