// What a session's transport must do; one backend per resource kind.
#pragma once

#include "framing.h"
#include "io.h"
#include "resource.h"
#include "visa.h"

#include <memory>
#include <string>

namespace qv::visa {

// Attribute values of an instrument session. Defaults follow the published
// ones; stream transports end reads at LF by default, because they have no
// other end-of-message signal.
struct SessionAttrs {
    uint32_t timeoutMs = 2000;
    uint8_t termChar = '\n';
    bool termCharEn = false;
    bool sendEnd = true;
    bool gpibReaddr = true;
    bool gpibUnaddr = false;
    bool fileAppend = false;
    bool suppressEnd = false;
    bool tcpNoDelay = true;
    bool tcpKeepAlive = false;
    uint16_t ioProt = VI_PROT_NORMAL;
    uint32_t baud = 9600;
    uint16_t dataBits = 8;
    uint16_t parity = VI_ASRL_PAR_NONE;
    uint16_t stopBits = VI_ASRL_STOP_ONE;
    uint16_t flow = VI_ASRL_FLOW_NONE;
    uint16_t endIn = VI_ASRL_END_TERMCHAR;
    uint16_t endOut = VI_ASRL_END_NONE;
};

class Backend {
public:
    virtual ~Backend() = default;
    virtual ViStatus open(const Resource& r, const Deadline& dl, std::string& reason) = 0;
    // Reads up to count bytes into the sink; got counts what arrived even on
    // failure. VI_SUCCESS (END), VI_SUCCESS_TERM_CHAR or VI_SUCCESS_MAX_CNT.
    virtual ViStatus read(Sink& sink, uint32_t count, uint32_t& got) = 0;
    // end: this buffer ends the message (the END signal where there is one).
    virtual ViStatus write(const uint8_t* data, uint32_t count, bool end, uint32_t& written) = 0;
    virtual ViStatus readStb(uint16_t& stb) = 0;
    virtual ViStatus clear() = 0;
    virtual ViStatus gpibControlRen(uint16_t mode) { return VI_ERROR_NSUP_OPER; }
    // Called after an attribute of this session changed.
    virtual ViStatus attributeChanged(ViAttr attr) { return VI_SUCCESS; }
    virtual uint16_t interfaceType() const = 0;
    virtual void close() = 0;

    SessionAttrs attrs;
};

// Raw socket and serial: a byte stream framed by ResponseFramer.
class StreamBackend : public Backend {
public:
    ViStatus read(Sink& sink, uint32_t count, uint32_t& got) override;
    ViStatus write(const uint8_t* data, uint32_t count, bool end, uint32_t& written) override;
    // The status byte through "*STB?": there is no serial poll on a stream.
    ViStatus readStb(uint16_t& stb) override;
    void close() override;

protected:
    virtual bool endsAtTermChar() const { return attrs.termCharEn; }
    void attach(Fd fd, bool isSocket);
    void resetInput();

    Fd fd_;
    bool isSocket_ = false;
    StreamReader reader_;
    ResponseFramer framer_;
    bool skipTerminator_ = false;
};

std::unique_ptr<Backend> makeSocketBackend();
std::unique_ptr<Backend> makeVxi11Backend();
std::unique_ptr<Backend> makeSerialBackend();

// The port-mapper port: QUILVANE_PORTMAPPER_PORT when set, else 111.
uint16_t portmapperPort();

}  // namespace qv::visa
