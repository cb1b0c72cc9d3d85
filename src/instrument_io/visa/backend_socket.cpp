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

    const char* name() const override { return "socket"; }

    // Nothing to send: a socket has no device clear. Stale input goes.
    ViStatus clear() override {
        if (!fd_) return VI_ERROR_CONN_LOST;
        resetInput();
        return VI_SUCCESS;
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState value) override {
        ViStatus s = VI_SUCCESS;
        if (tcpip_.set(attr, value, s)) {
            if (s == VI_SUCCESS) applySocketOption(attr);
            return s;
        }
        if (attr == VI_ATTR_SUPPRESS_END_EN) return setBoolean(suppressEnd_, value);
        return StreamBackend::setAttribute(attr, value);
    }

protected:
    ViStatus connect(const Resource& r, const Deadline& dl, std::string& reason) override {
        Fd fd;
        ViStatus s = connectTcp(r.host, r.port, dl, fd, reason);
        if (s != VI_SUCCESS) return s;
        attach(std::move(fd), true);
        return VI_SUCCESS;
    }

    uint16_t interfaceType() const override { return VI_INTF_TCPIP; }
    const char* resourceClass() const override { return "SOCKET"; }

    bool readAttribute(ViAttr attr, AttrValue& v) const override {
        if (tcpip_.read(resource(), attr, v)) return true;
        switch (attr) {
        case VI_ATTR_TCPIP_PORT: v = AttrValue::number(AttrType::U16, resource().port); return true;
        case VI_ATTR_SUPPRESS_END_EN: v = AttrValue::boolean(suppressEnd_); return true;
        default: return StreamBackend::readAttribute(attr, v);
        }
    }

private:
    void applySocketOption(ViAttr attr) {
        int on = 0;
        if (attr == VI_ATTR_TCPIP_NODELAY) {
            on = tcpip_.noDelay ? 1 : 0;
            setsockopt(fd_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        } else if (attr == VI_ATTR_TCPIP_KEEPALIVE) {
            on = tcpip_.keepAlive ? 1 : 0;
            setsockopt(fd_.get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
        }
    }

    TcpipAttrs tcpip_;
    // Kept and reported only: it changes nothing here.
    bool suppressEnd_ = false;
};

[[maybe_unused]] const bool kRegistered =
    registerBackend(ResourceKind::TcpipSocket, [] { return std::unique_ptr<Backend>(new SocketBackend); });

}  // namespace

}  // namespace qv::visa
