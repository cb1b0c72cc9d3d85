// Raw SCPI over a byte stream (TCP socket or pseudo-terminal): messages end
// at LF, answers go out as soon as they exist.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "net_io.h"
#include "servers.h"
#include "session.h"

namespace qv::sim {

namespace {

bool deliver(StreamWriter& w, ResponseMessage& r, int stopFd, bool socket) {
    if (r.silent) return true;  // the connection stays, the answer never comes
    if (r.delayMs > 0 && !sleepUnlessStopped(stopFd, r.delayMs)) return false;
    uint64_t n = r.data.size();
    if (r.dropAfter && *r.dropAfter < n) {
        w.sendResponse({}, r.data, 0, *r.dropAfter, {});
        // A terminal cannot be hung up on; the answer just stops short.
        return !socket;
    }
    return w.sendResponse({}, r.data, 0, n, {});
}

}  // namespace

void serveStream(Instrument& inst, int fd, int stopFd, bool socket) {
    // Nobody may be reading a terminal at all: an answer that cannot go out
    // within a few seconds is lost, as on a serial line with nobody there.
    StreamWriter writer(fd, stopFd, socket, socket ? kStallLimitMs : 5000);
    Session session(inst, Session::Mode::Immediate,
                    [&](ResponseMessage& r) { return deliver(writer, r, stopFd, socket); });
    std::vector<uint8_t> buf(256 * 1024);
    for (;;) {
        if (socket) {
            ssize_t n = receive(fd, buf.data(), buf.size(), stopFd);
            if (n <= 0) break;
            if (!session.feed(buf.data(), size_t(n))) {
                // Closing with unread input would reset the connection and
                // could discard what we sent; read it away first.
                ::shutdown(fd, SHUT_WR);
                for (int i = 0; i < 64 && ::recv(fd, buf.data(), buf.size(), MSG_DONTWAIT) > 0; ++i) {
                }
                break;
            }
            continue;
        }
        // A terminal is never hung up on: it serves until stop.
        if (waitFor(fd, POLLIN, stopFd, -1) != WaitResult::Ready) break;
        ssize_t n = ::read(fd, buf.data(), buf.size());
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) {
            // No client on the other side at the moment; wait, do not spin.
            if (!sleepUnlessStopped(stopFd, 50)) break;
            continue;
        }
        session.feed(buf.data(), size_t(n));  // false: that answer is lost, the line stays
    }
}

}  // namespace qv::sim
