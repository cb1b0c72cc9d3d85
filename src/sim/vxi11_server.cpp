// VXI-11 core channel over ONC RPC on TCP: links to the instruments of one
// address, writes that end at END or LF, reads with request size, term
// character and timeout, and the control calls (status byte, clear, ...).
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>

#include "oncrpc/oncrpc.h"
#include "oncrpc/vxi11.h"
#include "net_io.h"
#include "scpi_errors.h"
#include "servers.h"
#include "session.h"

namespace qv::sim {

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kMaxRecvSize = 1048576;
// Largest data part of one read reply: a record fragment holds 2^31 - 1.
constexpr uint64_t kMaxReadReply = 0x7FF00000;
constexpr size_t kMaxRecord = vxi11::kMaxWriteData + 64 * 1024;

struct Link {
    std::string device;
    Instrument* instrument = nullptr;
    std::unique_ptr<Session> session;
};

class Connection {
public:
    Connection(const Vxi11Context& ctx, int fd, int stopFd) : ctx_(ctx), fd_(fd), stop_(stopFd), writer_(fd, stopFd, true) {}
    ~Connection() {
        for (auto& [lid, link] : links_) link.instrument->unlock(lid);
    }
    void run();

private:
    bool handle(const rpc::Bytes& record);
    bool reply(uint32_t xid, rpc::AcceptStat stat, const rpc::Bytes& results);
    bool replyRaw(rpc::Bytes& msg);
    Link* findLink(int32_t lid) { auto it = links_.find(lid); return it == links_.end() ? nullptr : &it->second; }
    // Waits for the lock when asked to; 0 or the VXI-11 error.
    int32_t acquire(Link& link, int32_t lid, uint32_t flags, uint32_t lockTimeout);
    bool lockedOut(Link& link, int32_t lid, uint32_t flags, uint32_t lockTimeout);

    bool createLink(uint32_t xid, rpc::XdrReader& r);
    bool deviceWrite(uint32_t xid, rpc::XdrReader& r);
    bool deviceRead(uint32_t xid, rpc::XdrReader& r);
    bool generic(uint32_t xid, uint32_t proc, rpc::XdrReader& r);
    bool lock(uint32_t xid, rpc::XdrReader& r);
    bool unlockOrDestroy(uint32_t xid, uint32_t proc, rpc::XdrReader& r);

    const Vxi11Context& ctx_;
    int fd_;
    int stop_;
    StreamWriter writer_;
    std::map<int32_t, Link> links_;
};

bool Connection::replyRaw(rpc::Bytes& msg) {
    rpc::putFragmentHeader(msg.data(), uint32_t(msg.size() - 4), true);
    return writer_.write(msg.data(), msg.size());
}

bool Connection::reply(uint32_t xid, rpc::AcceptStat stat, const rpc::Bytes& results) {
    rpc::Bytes msg(4, 0);
    rpc::XdrWriter w(msg);
    rpc::encodeAcceptedReply(w, xid, stat);
    msg.insert(msg.end(), results.begin(), results.end());
    return replyRaw(msg);
}

int32_t Connection::acquire(Link& link, int32_t lid, uint32_t flags, uint32_t lockTimeout) {
    auto deadline = Clock::now() + std::chrono::milliseconds((flags & vxi11::kFlagWaitLock) ? lockTimeout : 0);
    for (;;) {
        if (link.instrument->tryLock(lid)) return vxi11::kNoError;
        if (Clock::now() >= deadline || !sleepUnlessStopped(stop_, 10)) return vxi11::kDeviceLocked;
    }
}

bool Connection::lockedOut(Link& link, int32_t lid, uint32_t flags, uint32_t lockTimeout) {
    auto deadline = Clock::now() + std::chrono::milliseconds((flags & vxi11::kFlagWaitLock) ? lockTimeout : 0);
    for (;;) {
        int32_t owner = link.instrument->lockOwner();
        if (owner == 0 || owner == lid) return false;
        if (Clock::now() >= deadline || !sleepUnlessStopped(stop_, 10)) return true;
    }
}

bool Connection::createLink(uint32_t xid, rpc::XdrReader& r) {
    vxi11::CreateLinkParms p;
    if (!vxi11::decode(r, p)) return reply(xid, rpc::kGarbageArgs, {});
    vxi11::CreateLinkResp resp;
    resp.maxRecvSize = kMaxRecvSize;
    // Only "instK" names a device here; anything else is not accessible.
    Instrument* inst = nullptr;
    const std::string& d = p.device;
    if (d.size() > 4 && d.size() <= 8 && (d.compare(0, 4, "inst") == 0 || d.compare(0, 4, "INST") == 0) &&
        d.find_first_not_of("0123456789", 4) == std::string::npos) {
        size_t k = 0;
        for (size_t i = 4; i < d.size(); ++i) k = k * 10 + size_t(d[i] - '0');
        if (k < ctx_.devices.size()) inst = ctx_.devices[k].instrument;
    }
    rpc::Bytes out;
    rpc::XdrWriter w(out);
    if (!inst) {
        resp.error = vxi11::kDeviceNotAccessible;
        vxi11::encode(w, resp);
        return reply(xid, rpc::kSuccess, out);
    }
    int32_t lid = ctx_.nextLinkId->fetch_add(1);
    Link link;
    link.device = d;
    link.instrument = inst;
    link.session = std::make_unique<Session>(*inst, Session::Mode::Queued);
    if (p.lockDevice && acquire(link, lid, vxi11::kFlagWaitLock, p.lockTimeout) != vxi11::kNoError) {
        resp.error = vxi11::kDeviceLocked;
        vxi11::encode(w, resp);
        return reply(xid, rpc::kSuccess, out);
    }
    resp.lid = lid;
    inst->log().control("@link " + d);
    links_.emplace(lid, std::move(link));
    vxi11::encode(w, resp);
    return reply(xid, rpc::kSuccess, out);
}

bool Connection::deviceWrite(uint32_t xid, rpc::XdrReader& r) {
    vxi11::WriteParms p;
    if (!vxi11::decode(r, p)) return reply(xid, rpc::kGarbageArgs, {});
    vxi11::WriteResp resp;
    Link* link = findLink(p.lid);
    if (!link) {
        resp.error = vxi11::kInvalidLinkId;
    } else if (lockedOut(*link, p.lid, p.flags, p.lockTimeout)) {
        resp.error = vxi11::kDeviceLocked;
    } else {
        link->session->feed(reinterpret_cast<const uint8_t*>(p.data.data()), p.data.size(),
                            (p.flags & vxi11::kFlagEnd) != 0);
        resp.size = uint32_t(p.data.size());
    }
    rpc::Bytes out;
    rpc::XdrWriter w(out);
    vxi11::encode(w, resp);
    return reply(xid, rpc::kSuccess, out);
}

bool Connection::deviceRead(uint32_t xid, rpc::XdrReader& r) {
    vxi11::ReadParms p;
    if (!vxi11::decode(r, p)) return reply(xid, rpc::kGarbageArgs, {});
    auto fail = [&](int32_t error) {
        rpc::Bytes out;
        rpc::XdrWriter w(out);
        vxi11::ReadRespHead head;
        head.error = error;
        vxi11::encode(w, head);  // its length word says: no data
        return reply(xid, rpc::kSuccess, out);
    };
    Link* link = findLink(p.lid);
    if (!link) return fail(vxi11::kInvalidLinkId);
    if (lockedOut(*link, p.lid, p.flags, p.lockTimeout)) return fail(vxi11::kDeviceLocked);
    Session& s = *link->session;
    // Wait up to io_timeout for an answer to be ready.
    auto deadline = Clock::now() + std::chrono::milliseconds(p.ioTimeout);
    for (;;) {
        auto now = Clock::now();
        Session::Pending* pend = s.pending();
        if (pend && now >= pend->readyAt) break;
        if (now >= deadline) {
            // Reading with nothing to read is a query error, as on a bus.
            if (!pend) link->instrument->pushError(err::kQueryUnterminated);
            return fail(vxi11::kIoTimeout);
        }
        auto until = pend ? std::min(deadline, pend->readyAt) : deadline;
        auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(until - now).count() + 1;
        WaitResult w = waitFor(fd_, POLLRDHUP, stop_, int(std::min<int64_t>(ms, 1000)));
        if (w == WaitResult::Stopped) return false;
        if (w == WaitResult::Ready) return false;  // the client went away
    }
    Session::Pending* pend = s.pending();
    const Response& data = pend->msg.data;
    uint64_t limit = std::min<uint64_t>({pend->remaining(), uint64_t(p.requestSize), kMaxReadReply});
    bool dropping = false;
    if (pend->msg.dropAfter) {
        uint64_t room = *pend->msg.dropAfter > pend->consumed ? *pend->msg.dropAfter - pend->consumed : 0;
        if (room < limit || room == 0) {
            limit = room;
            dropping = true;
        }
    }
    if (dropping && limit == 0) return false;
    uint32_t reason = 0;
    uint64_t len = limit;
    if (p.flags & vxi11::kFlagTermCharSet) {
        if (auto hit = data.find(p.termChar, pend->consumed, limit)) {
            len = *hit - pend->consumed + 1;
            reason |= vxi11::kReasonChr;
        }
    }
    if (!dropping) {
        if (pend->consumed + len == data.size()) reason |= vxi11::kReasonEnd;
        if (len == p.requestSize) reason |= vxi11::kReasonReqCnt;
    }
    rpc::Bytes head(4, 0);
    rpc::XdrWriter w(head);
    rpc::encodeAcceptedReply(w, xid, rpc::kSuccess);
    vxi11::ReadRespHead rh;
    rh.reason = reason;
    rh.dataLength = uint32_t(len);
    vxi11::encode(w, rh);
    uint64_t total = head.size() - 4 + len + rpc::xdrPad(size_t(len));
    rpc::putFragmentHeader(head.data(), uint32_t(total), true);
    static const char zeros[4] = {0, 0, 0, 0};
    bool ok = writer_.sendResponse(std::string_view(reinterpret_cast<const char*>(head.data()), head.size()), data,
                                   pend->consumed, len, std::string_view(zeros, rpc::xdrPad(size_t(len))));
    s.consume(len);
    return ok && !dropping;
}

bool Connection::generic(uint32_t xid, uint32_t proc, rpc::XdrReader& r) {
    vxi11::GenericParms p;
    if (!vxi11::decode(r, p)) return reply(xid, rpc::kGarbageArgs, {});
    rpc::Bytes out;
    rpc::XdrWriter w(out);
    Link* link = findLink(p.lid);
    int32_t error = vxi11::kNoError;
    uint8_t stb = 0;
    if (!link) {
        error = vxi11::kInvalidLinkId;
    } else if (lockedOut(*link, p.lid, p.flags, p.lockTimeout)) {
        error = vxi11::kDeviceLocked;
    } else {
        Instrument& inst = *link->instrument;
        switch (proc) {
        case vxi11::kDeviceReadStb:
            inst.log().control("@readstb");
            stb = link->session->statusByte();
            break;
        case vxi11::kDeviceTrigger:
            inst.log().control("@trigger");
            break;
        case vxi11::kDeviceClear:
            inst.log().control("@clear");
            link->session->clear();
            break;
        case vxi11::kDeviceRemote:
            inst.log().control("@remote");
            inst.setRemote(true);
            break;
        case vxi11::kDeviceLocal:
            inst.log().control("@local");
            inst.setRemote(false);
            break;
        }
    }
    if (proc == vxi11::kDeviceReadStb) {
        vxi11::ReadStbResp resp;
        resp.error = error;
        resp.stb = stb;
        vxi11::encode(w, resp);
    } else {
        vxi11::encodeError(w, error);
    }
    return reply(xid, rpc::kSuccess, out);
}

bool Connection::lock(uint32_t xid, rpc::XdrReader& r) {
    vxi11::LockParms p;
    if (!vxi11::decode(r, p)) return reply(xid, rpc::kGarbageArgs, {});
    int32_t error = vxi11::kInvalidLinkId;
    if (Link* link = findLink(p.lid)) {
        link->instrument->log().control("@lock");
        error = acquire(*link, p.lid, p.flags, p.lockTimeout);
    }
    rpc::Bytes out;
    rpc::XdrWriter w(out);
    vxi11::encodeError(w, error);
    return reply(xid, rpc::kSuccess, out);
}

bool Connection::unlockOrDestroy(uint32_t xid, uint32_t proc, rpc::XdrReader& r) {
    int32_t lid = r.i32();
    if (!r.ok()) return reply(xid, rpc::kGarbageArgs, {});
    int32_t error = vxi11::kInvalidLinkId;
    if (Link* link = findLink(lid)) {
        if (proc == vxi11::kDeviceUnlock) {
            link->instrument->log().control("@unlock");
            error = link->instrument->unlock(lid) ? vxi11::kNoError : vxi11::kNoLockHeld;
        } else {
            link->instrument->log().control("@unlink");
            link->instrument->unlock(lid);
            links_.erase(lid);
            error = vxi11::kNoError;
        }
    }
    rpc::Bytes out;
    rpc::XdrWriter w(out);
    vxi11::encodeError(w, error);
    return reply(xid, rpc::kSuccess, out);
}

bool Connection::handle(const rpc::Bytes& record) {
    rpc::XdrReader r(record);
    rpc::CallHeader h;
    if (!rpc::decodeCall(r, h)) {
        // A call of another RPC version gets RPC_MISMATCH; anything else
        // is not a call we can answer.
        if (record.size() >= 12 && rpc::getBE32(record.data() + 4) == rpc::kCall &&
            rpc::getBE32(record.data() + 8) != rpc::kRpcVersion) {
            rpc::Bytes msg(4, 0);
            rpc::XdrWriter w(msg);
            w.u32(rpc::getBE32(record.data()));
            w.u32(rpc::kReply);
            w.u32(1);  // MSG_DENIED
            w.u32(0);  // RPC_MISMATCH
            w.u32(rpc::kRpcVersion);
            w.u32(rpc::kRpcVersion);
            return replyRaw(msg);
        }
        return false;
    }
    if (h.prog != vxi11::kCoreProg) return reply(h.xid, rpc::kProgUnavail, {});
    if (h.vers != vxi11::kCoreVers) {
        rpc::Bytes v;
        rpc::XdrWriter w(v);
        w.u32(vxi11::kCoreVers);
        w.u32(vxi11::kCoreVers);
        return reply(h.xid, rpc::kProgMismatch, v);
    }
    switch (h.proc) {
    case 0:
        return reply(h.xid, rpc::kSuccess, {});
    case vxi11::kCreateLink:
        return createLink(h.xid, r);
    case vxi11::kDeviceWrite:
        return deviceWrite(h.xid, r);
    case vxi11::kDeviceRead:
        return deviceRead(h.xid, r);
    case vxi11::kDeviceReadStb:
    case vxi11::kDeviceTrigger:
    case vxi11::kDeviceClear:
    case vxi11::kDeviceRemote:
    case vxi11::kDeviceLocal:
        return generic(h.xid, h.proc, r);
    case vxi11::kDeviceLock:
        return lock(h.xid, r);
    case vxi11::kDeviceUnlock:
    case vxi11::kDestroyLink:
        return unlockOrDestroy(h.xid, h.proc, r);
    case vxi11::kDeviceEnableSrq: {
        int32_t lid = r.i32();
        r.boolean();
        r.opaque(40);
        if (!r.ok()) return reply(h.xid, rpc::kGarbageArgs, {});
        rpc::Bytes out;
        rpc::XdrWriter w(out);
        vxi11::encodeError(w, findLink(lid) ? vxi11::kNoError : vxi11::kInvalidLinkId);
        return reply(h.xid, rpc::kSuccess, out);
    }
    case vxi11::kDeviceDocmd: {
        rpc::Bytes out;
        rpc::XdrWriter w(out);
        vxi11::encodeError(w, vxi11::kOperationNotSupported);
        w.opaque(nullptr, 0);
        return reply(h.xid, rpc::kSuccess, out);
    }
    case vxi11::kCreateIntrChan:
    case vxi11::kDestroyIntrChan: {
        rpc::Bytes out;
        rpc::XdrWriter w(out);
        vxi11::encodeError(w, vxi11::kOperationNotSupported);
        return reply(h.xid, rpc::kSuccess, out);
    }
    default:
        return reply(h.xid, rpc::kProcUnavail, {});
    }
}

void Connection::run() {
    rpc::RecordAssembler assembler(kMaxRecord);
    std::vector<uint8_t> buf(256 * 1024);
    for (;;) {
        ssize_t n = receive(fd_, buf.data(), buf.size(), stop_);
        if (n <= 0) return;
        size_t used = 0;
        while (used < size_t(n)) {
            used += assembler.feed(buf.data() + used, size_t(n) - used);
            if (assembler.failed()) return;  // a record beyond any sane size
            if (assembler.hasRecord()) {
                rpc::Bytes record = assembler.takeRecord();
                if (!handle(record)) return;
            }
        }
    }
}

}  // namespace

void serveVxi11(const Vxi11Context& ctx, int fd, int stopFd) {
    Connection c(ctx, fd, stopFd);
    c.run();
}

}  // namespace qv::sim
