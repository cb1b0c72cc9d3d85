// ONC RPC (RFC 5531) and XDR (RFC 4506) on the wire: the few message forms
// VXI-11 and the port mapper need. Decoders never trust their input: every
// read is bounds-checked and a failed read poisons the reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::rpc {

using Bytes = std::vector<uint8_t>;

class XdrWriter {
public:
    explicit XdrWriter(Bytes& out) : out_(out) {}
    void u32(uint32_t v);
    void i32(int32_t v) { u32(static_cast<uint32_t>(v)); }
    void boolean(bool v) { u32(v ? 1u : 0u); }
    // Variable-length opaque / string: length word, bytes, zero padding to 4.
    void opaque(const void* data, size_t size);
    void string(std::string_view s) { opaque(s.data(), s.size()); }
    size_t size() const { return out_.size(); }

private:
    Bytes& out_;
};

class XdrReader {
public:
    XdrReader(const uint8_t* data, size_t size) : p_(data), n_(size) {}
    explicit XdrReader(const Bytes& b) : p_(b.data()), n_(b.size()) {}
    uint32_t u32();
    int32_t i32() { return static_cast<int32_t>(u32()); }
    bool boolean() { return u32() != 0; }
    // Reads a variable-length opaque of at most maxSize bytes; the view
    // points into the reader's buffer.
    std::string_view opaque(size_t maxSize);
    std::string string(size_t maxSize) { return std::string(opaque(maxSize)); }
    void skip(size_t bytes);
    bool ok() const { return ok_; }
    size_t pos() const { return pos_; }
    size_t remaining() const { return ok_ ? n_ - pos_ : 0; }

private:
    const uint8_t* p_;
    size_t n_;
    size_t pos_ = 0;
    bool ok_ = true;
};

inline size_t xdrPad(size_t n) { return (4 - (n & 3)) & 3; }

constexpr uint32_t kCall = 0;
constexpr uint32_t kReply = 1;
constexpr uint32_t kRpcVersion = 2;

enum AcceptStat : uint32_t {
    kSuccess = 0,
    kProgUnavail = 1,
    kProgMismatch = 2,
    kProcUnavail = 3,
    kGarbageArgs = 4,
    kSystemErr = 5,
};

struct CallHeader {
    uint32_t xid = 0;
    uint32_t prog = 0;
    uint32_t vers = 0;
    uint32_t proc = 0;
};

struct ReplyHeader {
    uint32_t xid = 0;
    bool accepted = false;      // MSG_ACCEPTED
    uint32_t acceptStat = 0;    // valid when accepted
    uint32_t rejectStat = 0;    // valid when denied
};

// Call with AUTH_NONE credentials and verifier.
void encodeCall(XdrWriter& w, const CallHeader& h);
// Reads a call header, skipping credentials and verifier (bounded).
bool decodeCall(XdrReader& r, CallHeader& h);
// Accepted reply header with AUTH_NONE verifier; the caller appends results.
// For kProgMismatch the caller appends low and high versions.
void encodeAcceptedReply(XdrWriter& w, uint32_t xid, AcceptStat stat);
bool decodeReply(XdrReader& r, ReplyHeader& h);

// Record marking: a 4-byte header per fragment, top bit set on the last one.
constexpr uint32_t kLastFragment = 0x80000000u;
inline void putFragmentHeader(uint8_t* p, uint32_t length, bool last) {
    uint32_t v = (length & 0x7FFFFFFFu) | (last ? kLastFragment : 0u);
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}
inline uint32_t getBE32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

// Splits a byte stream into RPC records. Feed bytes as they arrive; complete
// records come out whole. Records larger than maxRecord fail the stream,
// which keeps a hostile peer from making us allocate without bound.
class RecordAssembler {
public:
    explicit RecordAssembler(size_t maxRecord) : max_(maxRecord) {}
    // Consumes up to size bytes; returns how many were used. When a record
    // completes, it is available through takeRecord() and feeding stops.
    size_t feed(const uint8_t* data, size_t size);
    bool hasRecord() const { return complete_; }
    Bytes takeRecord();
    bool failed() const { return failed_; }

private:
    size_t max_;
    Bytes record_;
    uint8_t hdr_[4] = {};
    size_t hdrFill_ = 0;
    size_t fragLeft_ = 0;
    bool inFragment_ = false;
    bool lastFragment_ = false;
    bool complete_ = false;
    bool failed_ = false;
};

// Port mapper (program 100000, version 2) and rpcbind (version 3).
constexpr uint32_t kPmapProg = 100000;
constexpr uint32_t kPmapVers = 2;
constexpr uint32_t kPmapProcNull = 0;
constexpr uint32_t kPmapProcSet = 1;
constexpr uint32_t kPmapProcUnset = 2;
constexpr uint32_t kPmapProcGetport = 3;
constexpr uint32_t kRpcbVers = 3;
constexpr uint32_t kRpcbProcSet = 1;
constexpr uint32_t kRpcbProcUnset = 2;
constexpr uint32_t kIpProtoTcp = 6;
constexpr uint32_t kIpProtoUdp = 17;

struct PmapMapping {
    uint32_t prog = 0, vers = 0, prot = 0, port = 0;
};
void encodeMapping(XdrWriter& w, const PmapMapping& m);
bool decodeMapping(XdrReader& r, PmapMapping& m);

struct RpcbEntry {
    uint32_t prog = 0, vers = 0;
    std::string netid, addr, owner;
};
void encodeRpcb(XdrWriter& w, const RpcbEntry& e);

}  // namespace qv::rpc
