// TCPIP::host::port::SOCKET: SCPI over a plain TCP connection.
#include "backend.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace qv::visa {

namespace {

class SocketBackend final : public StreamBackend {
public:
    SocketBackend() { attrs.termCharEn = true; }

    ViStatus open(const Resource& r, const Deadline& dl, std::string& reason) override {
        Fd fd;
        ViStatus s = connectTcp(r.host, r.port, dl, fd, reason);
        if (s != VI_SUCCESS) return s;
        attach(std::move(fd), true);
        return VI_SUCCESS;
    }

    // Nothing to send: a socket has no device clear. Stale input goes.
    ViStatus clear() override {
        if (!fd_) return VI_ERROR_CONN_LOST;
        resetInput();
        return VI_SUCCESS;
    }

    ViStatus attributeChanged(ViAttr attr) override {
        int on = 0;
        if (attr == VI_ATTR_TCPIP_NODELAY) {
            on = attrs.tcpNoDelay ? 1 : 0;
            setsockopt(fd_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        } else if (attr == VI_ATTR_TCPIP_KEEPALIVE) {
            on = attrs.tcpKeepAlive ? 1 : 0;
            setsockopt(fd_.get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
        }
        return VI_SUCCESS;
    }

    uint16_t interfaceType() const override { return VI_INTF_TCPIP; }
};

}  // namespace

std::unique_ptr<Backend> makeSocketBackend() { return std::make_unique<SocketBackend>(); }

}  // namespace qv::visa
