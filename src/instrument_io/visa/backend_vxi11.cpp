// TCPIP::host[::device]::INSTR over the VXI-11 core channel.
#include "backend.h"
#include "rpc_client.h"
#include "oncrpc/vxi11.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace qv::visa {

namespace {

ViStatus mapDeviceError(int32_t e) {
    switch (e) {
    case vxi11::kNoError: return VI_SUCCESS;
    case vxi11::kIoTimeout: return VI_ERROR_TMO;
    case vxi11::kDeviceLocked: return VI_ERROR_RSRC_LOCKED;
    case vxi11::kNoLockHeld: return VI_ERROR_SESN_NLOCKED;
    case vxi11::kAbort: return VI_ERROR_ABORT;
    case vxi11::kOperationNotSupported: return VI_ERROR_NSUP_OPER;
    case vxi11::kInvalidLinkId: return VI_ERROR_CONN_LOST;
    case vxi11::kDeviceNotAccessible:
    case vxi11::kInvalidAddress: return VI_ERROR_RSRC_NFOUND;
    case vxi11::kOutOfResources: return VI_ERROR_ALLOC;
    default: return VI_ERROR_IO;
    }
}

// The port-mapper port: QUILVANE_PORTMAPPER_PORT when set, else 111.
uint16_t portmapperPort() {
    if (const char* env = std::getenv("QUILVANE_PORTMAPPER_PORT")) {
        char* endp = nullptr;
        long v = std::strtol(env, &endp, 10);
        if (endp != env && *endp == '\0' && v > 0 && v < 65536) return uint16_t(v);
    }
    return 111;
}

class Vxi11Backend final : public BuiltinBackend {
public:
    const char* name() const override { return "VXI-11"; }

    ViStatus readStb(uint16_t& stb) override {
        uint32_t v = 0;
        ViStatus s = generic(vxi11::kDeviceReadStb, &v);
        if (s == VI_SUCCESS) stb = uint16_t(v & 0xFF);
        return s;
    }

    ViStatus clear() override { return generic(vxi11::kDeviceClear, nullptr); }

    ViStatus gpibControlRen(uint16_t mode) override {
        switch (mode) {
        case VI_GPIB_REN_DEASSERT:
        case VI_GPIB_REN_DEASSERT_GTL:
        case VI_GPIB_REN_ADDRESS_GTL: return generic(vxi11::kDeviceLocal, nullptr);
        case VI_GPIB_REN_ASSERT:
        case VI_GPIB_REN_ASSERT_ADDRESS:
        case VI_GPIB_REN_ASSERT_LLO:
        case VI_GPIB_REN_ASSERT_ADDRESS_LLO: return generic(vxi11::kDeviceRemote, nullptr);
        default: return VI_ERROR_INV_MODE;
        }
    }

    void close() override {
        if (linked_ && rpc_.connected()) {
            // Polite, but never long: the link dies with the connection anyway.
            Deadline dl = Deadline::afterMs(std::min<uint32_t>(attrs.timeoutMs, 1000));
            rpc::Bytes args;
            rpc::XdrWriter w(args);
            vxi11::encodeLink(w, lid_);
            if (rpc_.call(vxi11::kCoreProg, vxi11::kCoreVers, vxi11::kDestroyLink, args, dl) == VI_SUCCESS)
                rpc_.finishReply(dl);
        }
        linked_ = false;
        rpc_.close();
    }

    // The TCP options are kept and reported; the RPC connection keeps its own.
    ViStatus setAttribute(ViAttr attr, ViAttrState value) override {
        ViStatus s = VI_SUCCESS;
        if (tcpip_.set(attr, value, s)) return s;
        return BuiltinBackend::setAttribute(attr, value);
    }

protected:
    uint16_t interfaceType() const override { return VI_INTF_TCPIP; }

    bool readAttribute(ViAttr attr, AttrValue& v) const override {
        if (tcpip_.read(resource(), attr, v)) return true;
        if (attr == VI_ATTR_TCPIP_DEVICE_NAME) {
            v = AttrValue::text(resource().lanDevice);
            return true;
        }
        return BuiltinBackend::readAttribute(attr, v);
    }

    ViStatus connect(const Resource& r, const Deadline& dl, std::string& reason) override {
        uint16_t port = 0;
        ViStatus s = pmapGetPort(r.host, portmapperPort(), vxi11::kCoreProg, vxi11::kCoreVers, dl, port, reason);
        if (s != VI_SUCCESS) return s;
        if (port == 0) {
            reason = r.host + " has no VXI-11 service registered with its port mapper";
            return VI_ERROR_RSRC_NFOUND;
        }
        s = rpc_.connect(r.host, port, dl, reason);
        if (s != VI_SUCCESS) return s;
        vxi11::CreateLinkParms p;
        p.clientId = int32_t(getpid() & 0x7FFFFFFF);
        p.device = r.lanDevice;
        rpc::Bytes args;
        rpc::XdrWriter w(args);
        vxi11::encode(w, p);
        s = rpc_.call(vxi11::kCoreProg, vxi11::kCoreVers, vxi11::kCreateLink, args, dl);
        int32_t err = 0;
        uint32_t lid = 0, abortPort = 0, maxRecv = 0;
        if (s == VI_SUCCESS) s = readI32(err, dl);
        if (s == VI_SUCCESS) s = rpc_.readU32(lid, dl);
        if (s == VI_SUCCESS) s = rpc_.readU32(abortPort, dl);
        if (s == VI_SUCCESS) s = rpc_.readU32(maxRecv, dl);
        if (s == VI_SUCCESS) s = rpc_.finishReply(dl);
        if (s != VI_SUCCESS) {
            reason = "create_link to " + r.host + " failed";
            return s;
        }
        if (err != vxi11::kNoError) {
            reason = "the instrument refused the link to device \"" + r.lanDevice + "\" (VXI-11 error " +
                     std::to_string(err) + ")";
            return mapDeviceError(err) == VI_ERROR_RSRC_NFOUND ? VI_ERROR_RSRC_NFOUND : mapDeviceError(err);
        }
        lid_ = int32_t(lid);
        // Some servers announce 0; their writes still take a modest chunk.
        maxRecv_ = maxRecv ? std::min<uint32_t>(maxRecv, 16u << 20) : 4096;
        linked_ = true;
        return VI_SUCCESS;
    }

    ViStatus readInto(Sink& sink, uint32_t count, uint32_t& got) override {
        got = 0;
        Deadline dl = Deadline::afterMs(attrs.timeoutMs);
        for (;;) {
            vxi11::ReadParms p;
            p.lid = lid_;
            // Large requests let one reply carry a whole block.
            p.requestSize = std::min<uint32_t>(count - got, 0x7FFFFFF0u);
            p.ioTimeout = dl.remainingMs();
            p.flags = attrs.termCharEn ? vxi11::kFlagTermCharSet : 0;
            p.termChar = attrs.termChar;
            rpc::Bytes args;
            rpc::XdrWriter w(args);
            vxi11::encode(w, p);
            Deadline replyDl = withGrace(dl);
            ViStatus s = rpc_.call(vxi11::kCoreProg, vxi11::kCoreVers, vxi11::kDeviceRead, args, replyDl);
            int32_t err = 0;
            uint32_t reason = 0, len = 0;
            if (s == VI_SUCCESS) s = readI32(err, replyDl);
            if (s == VI_SUCCESS) s = rpc_.readU32(reason, replyDl);
            if (s == VI_SUCCESS) s = rpc_.readU32(len, replyDl);
            if (s != VI_SUCCESS) return s;
            if (len > count - got) return VI_ERROR_IO;  // more than asked for: a broken peer
            s = rpc_.transferBody(sink, len, replyDl);
            if (s == VI_SUCCESS) s = rpc_.skipBody(rpc::xdrPad(len), replyDl);
            if (s == VI_SUCCESS) s = rpc_.finishReply(replyDl);
            if (s != VI_SUCCESS) return s;
            got += len;
            if (err != vxi11::kNoError) return mapDeviceError(err);
            if (reason & vxi11::kReasonEnd) return VI_SUCCESS;
            if (reason & vxi11::kReasonChr) return VI_SUCCESS_TERM_CHAR;
            if (got >= count) return VI_SUCCESS_MAX_CNT;
            if (dl.expired()) return VI_ERROR_TMO;
        }
    }

    ViStatus writePiece(const uint8_t* data, uint32_t count, bool end, uint32_t& written) override {
        written = 0;
        Deadline dl = Deadline::afterMs(attrs.timeoutMs);
        do {
            uint32_t chunk = std::min(count - written, maxRecv_);
            bool last = written + chunk == count;
            vxi11::WriteParms p;
            p.lid = lid_;
            p.ioTimeout = dl.remainingMs();
            p.flags = (last && end && attrs.sendEnd) ? vxi11::kFlagEnd : 0;
            p.data = std::string_view(reinterpret_cast<const char*>(data) + written, chunk);
            rpc::Bytes args;
            args.reserve(chunk + 32);
            rpc::XdrWriter w(args);
            vxi11::encode(w, p);
            Deadline replyDl = withGrace(dl);
            ViStatus s = rpc_.call(vxi11::kCoreProg, vxi11::kCoreVers, vxi11::kDeviceWrite, args, replyDl);
            int32_t err = 0;
            uint32_t size = 0;
            if (s == VI_SUCCESS) s = readI32(err, replyDl);
            if (s == VI_SUCCESS) s = rpc_.readU32(size, replyDl);
            if (s == VI_SUCCESS) s = rpc_.finishReply(replyDl);
            if (s != VI_SUCCESS) return s;
            written += std::min(size, chunk);
            if (err != vxi11::kNoError) return mapDeviceError(err);
            if (size == 0 && chunk > 0 && dl.expired()) return VI_ERROR_TMO;
        } while (written < count);
        return VI_SUCCESS;
    }

private:
    ViStatus readI32(int32_t& v, const Deadline& dl) {
        uint32_t u = 0;
        ViStatus s = rpc_.readU32(u, dl);
        v = int32_t(u);
        return s;
    }

    // The instrument answers at its io_timeout; we wait a little longer for
    // that answer before giving up on a silent peer.
    Deadline withGrace(const Deadline& dl) const {
        if (dl.infinite()) return dl;
        uint32_t left = dl.remainingMs();
        uint32_t grace = std::min<uint32_t>(50 + attrs.timeoutMs / 20, 500);
        return Deadline::afterMs(left + grace);
    }

    // Device_GenericParms calls; result words after the error go to out.
    ViStatus generic(uint32_t proc, uint32_t* out) {
        Deadline dl = Deadline::afterMs(attrs.timeoutMs);
        vxi11::GenericParms p;
        p.lid = lid_;
        p.ioTimeout = dl.remainingMs();
        rpc::Bytes args;
        rpc::XdrWriter w(args);
        vxi11::encode(w, p);
        Deadline replyDl = withGrace(dl);
        ViStatus s = rpc_.call(vxi11::kCoreProg, vxi11::kCoreVers, proc, args, replyDl);
        int32_t err = 0;
        if (s == VI_SUCCESS) s = readI32(err, replyDl);
        if (s == VI_SUCCESS && out) s = rpc_.readU32(*out, replyDl);
        if (s == VI_SUCCESS) s = rpc_.finishReply(replyDl);
        if (s != VI_SUCCESS) return s;
        return mapDeviceError(err);
    }

    RpcClient rpc_;
    int32_t lid_ = 0;
    uint32_t maxRecv_ = 4096;
    bool linked_ = false;
    TcpipAttrs tcpip_;
};

[[maybe_unused]] const bool kRegistered =
    registerBackend(ResourceKind::TcpipInstr, [] { return std::unique_ptr<Backend>(new Vxi11Backend); });

}  // namespace

}  // namespace qv::visa
