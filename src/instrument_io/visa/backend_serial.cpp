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

// The line settings of a serial session, published defaults.
struct SerialAttrs {
    uint32_t baud = 9600;
    uint16_t dataBits = 8;
    uint16_t parity = VI_ASRL_PAR_NONE;
    uint16_t stopBits = VI_ASRL_STOP_ONE;
    uint16_t flow = VI_ASRL_FLOW_NONE;
    uint16_t endIn = VI_ASRL_END_TERMCHAR;
    uint16_t endOut = VI_ASRL_END_NONE;
};

class SerialBackend final : public StreamBackend {
public:
    const char* name() const override { return "serial"; }

    ViStatus clear() override {
        if (!fd_) return VI_ERROR_CONN_LOST;
        tcflush(fd_.get(), TCIOFLUSH);
        resetInput();
        return VI_SUCCESS;
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState value) override {
        SerialAttrs& a = serial_;
        switch (attr) {
        case VI_ATTR_ASRL_BAUD:
            if (value == 0 || value > 4000000) return VI_ERROR_NSUP_ATTR_STATE;
            return reconfigure([&] {
                a.baud = uint32_t(value);
                return VI_SUCCESS;
            });
        case VI_ATTR_ASRL_DATA_BITS: return reconfigure([&] { return setChoice(a.dataBits, value, {5, 6, 7, 8}); });
        case VI_ATTR_ASRL_PARITY: return reconfigure([&] { return setChoice(a.parity, value, {0, 1, 2}); });
        case VI_ATTR_ASRL_STOP_BITS: return reconfigure([&] { return setChoice(a.stopBits, value, {10, 20}); });
        case VI_ATTR_ASRL_FLOW_CNTRL: return reconfigure([&] { return setChoice(a.flow, value, {0, 1, 2}); });
        case VI_ATTR_ASRL_END_IN: return setChoice(a.endIn, value, {0, 2});
        case VI_ATTR_ASRL_END_OUT: return setChoice(a.endOut, value, {0, 2});
        default: return StreamBackend::setAttribute(attr, value);
        }
    }

protected:
    ViStatus connect(const Resource& r, const Deadline& dl, std::string& reason) override {
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

    ViStatus writePiece(const uint8_t* data, uint32_t count, bool end, uint32_t& written) override {
        ViStatus s = StreamBackend::writePiece(data, count, end, written);
        if (s == VI_SUCCESS && end && attrs.sendEnd && serial_.endOut == VI_ASRL_END_TERMCHAR) {
            uint32_t n = 0;
            s = StreamBackend::writePiece(&attrs.termChar, 1, true, n);
        }
        return s;
    }

    uint16_t interfaceType() const override { return VI_INTF_ASRL; }
    bool endsAtTermChar() const override { return attrs.termCharEn || serial_.endIn == VI_ASRL_END_TERMCHAR; }

    bool readAttribute(ViAttr attr, AttrValue& v) const override {
        const SerialAttrs& a = serial_;
        switch (attr) {
        case VI_ATTR_ASRL_BAUD: v = AttrValue::number(AttrType::U32, a.baud); return true;
        case VI_ATTR_ASRL_DATA_BITS: v = AttrValue::number(AttrType::U16, a.dataBits); return true;
        case VI_ATTR_ASRL_PARITY: v = AttrValue::number(AttrType::U16, a.parity); return true;
        case VI_ATTR_ASRL_STOP_BITS: v = AttrValue::number(AttrType::U16, a.stopBits); return true;
        case VI_ATTR_ASRL_FLOW_CNTRL: v = AttrValue::number(AttrType::U16, a.flow); return true;
        case VI_ATTR_ASRL_END_IN: v = AttrValue::number(AttrType::U16, a.endIn); return true;
        case VI_ATTR_ASRL_END_OUT: v = AttrValue::number(AttrType::U16, a.endOut); return true;
        default: return StreamBackend::readAttribute(attr, v);
        }
    }

private:
    // Takes a line setting and applies it; a setting the line refuses is
    // taken back, so the session reports what the line does.
    template <typename Take>
    ViStatus reconfigure(Take take) {
        const SerialAttrs before = serial_;
        ViStatus s = take();
        if (s != VI_SUCCESS) return s;
        s = configure();
        if (s != VI_SUCCESS) {
            serial_ = before;
            configure();
        }
        return s;
    }

    ViStatus configure() {
        termios t{};
        if (tcgetattr(fd_.get(), &t) != 0) return VI_ERROR_IO;
        cfmakeraw(&t);
        bool ok = false;
        speed_t sp = speedFor(serial_.baud, ok);
        if (!ok) return VI_ERROR_NSUP_ATTR_STATE;
        cfsetispeed(&t, sp);
        cfsetospeed(&t, sp);
        t.c_cflag &= ~tcflag_t(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
        t.c_cflag |= CLOCAL | CREAD;
        switch (serial_.dataBits) {
        case 5: t.c_cflag |= CS5; break;
        case 6: t.c_cflag |= CS6; break;
        case 7: t.c_cflag |= CS7; break;
        default: t.c_cflag |= CS8; break;
        }
        if (serial_.parity == VI_ASRL_PAR_ODD) t.c_cflag |= PARENB | PARODD;
        if (serial_.parity == VI_ASRL_PAR_EVEN) t.c_cflag |= PARENB;
        if (serial_.stopBits == VI_ASRL_STOP_TWO) t.c_cflag |= CSTOPB;
        t.c_iflag &= ~tcflag_t(IXON | IXOFF | IXANY);
        if (serial_.flow & VI_ASRL_FLOW_XON_XOFF) t.c_iflag |= IXON | IXOFF;
        if (serial_.flow & VI_ASRL_FLOW_RTS_CTS) t.c_cflag |= CRTSCTS;
        t.c_cc[VMIN] = 1;
        t.c_cc[VTIME] = 0;
        return tcsetattr(fd_.get(), TCSANOW, &t) == 0 ? VI_SUCCESS : VI_ERROR_IO;
    }

    SerialAttrs serial_;
};

[[maybe_unused]] const bool kRegistered =
    registerBackend(ResourceKind::Asrl, [] { return std::unique_ptr<Backend>(new SerialBackend); });

}  // namespace

}  // namespace qv::visa
