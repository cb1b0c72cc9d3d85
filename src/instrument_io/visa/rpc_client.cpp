#include "rpc_client.h"

#include <cstring>
#include <random>

namespace qv::visa {

namespace {
class DiscardSink final : public Sink {
public:
    ViStatus put(const uint8_t*, size_t) override { return VI_SUCCESS; }
};
}  // namespace

ViStatus RpcClient::connect(const std::string& host, uint16_t port, const Deadline& dl, std::string& reason) {
    ViStatus s = connectTcp(host, port, dl, fd_, reason);
    if (s != VI_SUCCESS) return s;
    reader_.attach(fd_.get(), true);
    xid_ = std::random_device{}();
    inRecord_ = false;
    return VI_SUCCESS;
}

ViStatus RpcClient::readRaw(void* dst, size_t n, const Deadline& dl) {
    auto* p = static_cast<uint8_t*>(dst);
    while (n > 0) {
        if (reader_.available() == 0) {
            ViStatus s = reader_.fill(dl);
            if (s != VI_SUCCESS) return s;
        }
        size_t take = std::min(n, reader_.available());
        std::memcpy(p, reader_.data(), take);
        reader_.consume(take);
        p += take;
        n -= take;
    }
    return VI_SUCCESS;
}

ViStatus RpcClient::nextFragment(const Deadline& dl) {
    if (inRecord_ && lastFragment_) return VI_ERROR_IO;  // the record is shorter than its contents
    uint8_t hdr[4];
    ViStatus s = readRaw(hdr, 4, dl);
    if (s != VI_SUCCESS) return s;
    uint32_t v = rpc::getBE32(hdr);
    lastFragment_ = (v & rpc::kLastFragment) != 0;
    fragLeft_ = v & 0x7FFFFFFFu;
    inRecord_ = true;
    return VI_SUCCESS;
}

ViStatus RpcClient::readBody(void* dst, size_t n, const Deadline& dl) {
    auto* p = static_cast<uint8_t*>(dst);
    while (n > 0) {
        if (fragLeft_ == 0) {
            ViStatus s = nextFragment(dl);
            if (s != VI_SUCCESS) return s;
            continue;
        }
        size_t take = std::min<size_t>(n, fragLeft_);
        ViStatus s = readRaw(p, take, dl);
        if (s != VI_SUCCESS) return s;
        fragLeft_ -= uint32_t(take);
        p += take;
        n -= take;
    }
    return VI_SUCCESS;
}

ViStatus RpcClient::readU32(uint32_t& v, const Deadline& dl) {
    uint8_t b[4];
    ViStatus s = readBody(b, 4, dl);
    if (s == VI_SUCCESS) v = rpc::getBE32(b);
    return s;
}

ViStatus RpcClient::transferBody(Sink& sink, uint64_t n, const Deadline& dl) {
    while (n > 0) {
        if (fragLeft_ == 0) {
            ViStatus s = nextFragment(dl);
            if (s != VI_SUCCESS) return s;
            continue;
        }
        uint64_t take = std::min<uint64_t>(n, fragLeft_);
        ViStatus s = reader_.transfer(sink, take, dl);
        if (s != VI_SUCCESS) return s;
        fragLeft_ -= uint32_t(take);
        n -= take;
    }
    return VI_SUCCESS;
}

ViStatus RpcClient::skipBody(uint64_t n, const Deadline& dl) {
    DiscardSink sink;
    return transferBody(sink, n, dl);
}

ViStatus RpcClient::skipRestOfRecord(const Deadline& dl) {
    DiscardSink sink;
    while (inRecord_) {
        if (fragLeft_ > 0) {
            ViStatus s = reader_.transfer(sink, fragLeft_, dl);
            if (s != VI_SUCCESS) return s;
            fragLeft_ = 0;
        }
        if (lastFragment_) break;
        ViStatus s = nextFragment(dl);
        if (s != VI_SUCCESS) return s;
    }
    inRecord_ = false;
    return VI_SUCCESS;
}

ViStatus RpcClient::finishReply(const Deadline& dl) { return skipRestOfRecord(dl); }

ViStatus RpcClient::call(uint32_t prog, uint32_t vers, uint32_t proc, const rpc::Bytes& args, const Deadline& dl) {
    if (!fd_) return VI_ERROR_CONN_LOST;
    // A reply left half-read by an earlier time-out is dropped first.
    if (inRecord_) {
        ViStatus s = skipRestOfRecord(dl);
        if (s != VI_SUCCESS) return s;
    }
    const uint32_t xid = ++xid_;
    rpc::Bytes msg(4);
    rpc::XdrWriter w(msg);
    rpc::encodeCall(w, {xid, prog, vers, proc});
    msg.insert(msg.end(), args.begin(), args.end());
    rpc::putFragmentHeader(msg.data(), uint32_t(msg.size() - 4), true);
    ViStatus s = sendAll(fd_.get(), msg.data(), msg.size(), dl, true);
    if (s != VI_SUCCESS) return s;
    for (;;) {
        s = nextFragment(dl);
        if (s != VI_SUCCESS) return s;
        // xid, REPLY, reply_stat: then an accepted reply's verifier and status.
        uint32_t head[3];
        for (auto& v : head) {
            s = readU32(v, dl);
            if (s != VI_SUCCESS) return s;
        }
        if (head[1] != rpc::kReply) return VI_ERROR_IO;
        if (head[0] != xid) {
            // A late reply to a call we gave up on.
            s = skipRestOfRecord(dl);
            if (s != VI_SUCCESS) return s;
            continue;
        }
        if (head[2] != 0) {
            skipRestOfRecord(dl);
            return VI_ERROR_NPERMISSION;  // MSG_DENIED
        }
        uint32_t flavor = 0, len = 0, stat = 0;
        if ((s = readU32(flavor, dl)) != VI_SUCCESS || (s = readU32(len, dl)) != VI_SUCCESS) return s;
        if (len > 400) return VI_ERROR_IO;
        if ((s = skipBody(len + rpc::xdrPad(len), dl)) != VI_SUCCESS) return s;
        if ((s = readU32(stat, dl)) != VI_SUCCESS) return s;
        if (stat != rpc::kSuccess) {
            skipRestOfRecord(dl);
            return stat == rpc::kProgUnavail || stat == rpc::kProgMismatch ? VI_ERROR_RSRC_NFOUND : VI_ERROR_NSUP_OPER;
        }
        return VI_SUCCESS;
    }
}

ViStatus pmapGetPort(const std::string& host, uint16_t pmapPort, uint32_t prog, uint32_t vers,
                     const Deadline& dl, uint16_t& port, std::string& reason) {
    RpcClient c;
    ViStatus s = c.connect(host, pmapPort, dl, reason);
    if (s != VI_SUCCESS) {
        reason = "port mapper: " + reason;
        return s;
    }
    rpc::Bytes args;
    rpc::XdrWriter w(args);
    rpc::encodeMapping(w, {prog, vers, rpc::kIpProtoTcp, 0});
    s = c.call(rpc::kPmapProg, rpc::kPmapVers, rpc::kPmapProcGetport, args, dl);
    uint32_t p = 0;
    if (s == VI_SUCCESS) s = c.readU32(p, dl);
    if (s == VI_SUCCESS) s = c.finishReply(dl);
    if (s != VI_SUCCESS) {
        reason = "port mapper of " + host + " did not answer GETPORT";
        return s;
    }
    if (p > 65535) return VI_ERROR_IO;
    port = uint16_t(p);
    return VI_SUCCESS;
}

}  // namespace qv::visa
