// ASRLn::INSTR and ASRL/dev/...::INSTR: SCPI over a serial line (termios).
#include "backend.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

namespace qv::visa {

namespace {

speed_t speedFor(uint32_t baud, bool& ok) {
    ok = true;
    switch (baud) {
    case 300: return B300;
    case 600: return B600;
    case 1200: return B1200;
    case 2400: return B2400;
    case 4800: return B4800;
    case 9600: return B9600;
    case 19200: return B19200;
    case 38400: return B38400;
    case 57600: return B57600;
    case 115200: return B115200;
    case 230400: return B230400;
    case 460800: return B460800;
    case 921600: return B921600;
    default: ok = false; return B9600;
    }
}

class SerialBackend final : public StreamBackend {
public:
    ViStatus open(const Resource& r, const Deadline& dl, std::string& reason) override {
        if (r.device.empty()) {
            reason = "no serial device for " + r.canonical;
            return VI_ERROR_RSRC_NFOUND;
        }
        Fd fd(::open(r.device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        if (!fd) {
            int e = errno;
            reason = "cannot open " + r.device + ": " + strerror(e);
            return e == EBUSY ? VI_ERROR_RSRC_BUSY : (e == EACCES ? VI_ERROR_NPERMISSION : VI_ERROR_RSRC_NFOUND);
        }
        termios t{};
        if (tcgetattr(fd.get(), &t) != 0) {
            reason = r.device + " is not a serial line";
            return VI_ERROR_RSRC_NFOUND;
        }
        attach(std::move(fd), false);
        ViStatus s = configure();
        if (s != VI_SUCCESS) reason = "cannot configure " + r.device;
        return s;
    }

    ViStatus clear() override {
        if (!fd_) return VI_ERROR_CONN_LOST;
        tcflush(fd_.get(), TCIOFLUSH);
        resetInput();
        return VI_SUCCESS;
    }

    ViStatus write(const uint8_t* data, uint32_t count, bool end, uint32_t& written) override {
        ViStatus s = StreamBackend::write(data, count, end, written);
        if (s == VI_SUCCESS && end && attrs.sendEnd && attrs.endOut == VI_ASRL_END_TERMCHAR) {
            uint32_t n = 0;
            s = StreamBackend::write(&attrs.termChar, 1, true, n);
        }
        return s;
    }

    ViStatus attributeChanged(ViAttr attr) override {
        switch (attr) {
        case VI_ATTR_ASRL_BAUD:
        case VI_ATTR_ASRL_DATA_BITS:
        case VI_ATTR_ASRL_PARITY:
        case VI_ATTR_ASRL_STOP_BITS:
        case VI_ATTR_ASRL_FLOW_CNTRL:
            return configure();
        default:
            return VI_SUCCESS;
        }
    }

    uint16_t interfaceType() const override { return VI_INTF_ASRL; }

protected:
    bool endsAtTermChar() const override { return attrs.termCharEn || attrs.endIn == VI_ASRL_END_TERMCHAR; }

private:
    ViStatus configure() {
        termios t{};
        if (tcgetattr(fd_.get(), &t) != 0) return VI_ERROR_IO;
        cfmakeraw(&t);
        bool ok = false;
        speed_t sp = speedFor(attrs.baud, ok);
        if (!ok) return VI_ERROR_NSUP_ATTR_STATE;
        cfsetispeed(&t, sp);
        cfsetospeed(&t, sp);
        t.c_cflag &= ~tcflag_t(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
        t.c_cflag |= CLOCAL | CREAD;
        switch (attrs.dataBits) {
        case 5: t.c_cflag |= CS5; break;
        case 6: t.c_cflag |= CS6; break;
        case 7: t.c_cflag |= CS7; break;
        default: t.c_cflag |= CS8; break;
        }
        if (attrs.parity == VI_ASRL_PAR_ODD) t.c_cflag |= PARENB | PARODD;
        if (attrs.parity == VI_ASRL_PAR_EVEN) t.c_cflag |= PARENB;
        if (attrs.stopBits == VI_ASRL_STOP_TWO) t.c_cflag |= CSTOPB;
        t.c_iflag &= ~tcflag_t(IXON | IXOFF | IXANY);
        if (attrs.flow & VI_ASRL_FLOW_XON_XOFF) t.c_iflag |= IXON | IXOFF;
        if (attrs.flow & VI_ASRL_FLOW_RTS_CTS) t.c_cflag |= CRTSCTS;
        t.c_cc[VMIN] = 1;
        t.c_cc[VTIME] = 0;
        return tcsetattr(fd_.get(), TCSANOW, &t) == 0 ? VI_SUCCESS : VI_ERROR_IO;
    }
};

}  // namespace

std::unique_ptr<Backend> makeSerialBackend() { return std::make_unique<SerialBackend>(); }

}  // namespace qv::visa
