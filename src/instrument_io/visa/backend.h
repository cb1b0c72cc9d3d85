// One open instrument session, as the VISA operations see it, and the table
// that finds the session class serving a kind of resource. Each backend
// file registers its class here; the dispatch only ever asks the table.
#pragma once

#include "framing.h"
#include "io.h"
#include "resource.h"
#include "visa.h"

#include <memory>
#include <string>

namespace qv::visa {

// What viOpen hands a backend.
struct OpenRequest {
    Resource resource;
    std::string text;          // the name as the caller wrote it
    ViSession rm = 0;          // our resource manager the session belongs to
    ViAccessMode mode = VI_NULL;
    ViUInt32 timeoutMs = 0;    // as given; 0 asks for the default
    Deadline deadline;         // bounds the whole open
};

class Backend {
public:
    virtual ~Backend() = default;
    // A short name for logs and tests ("VXI-11", "socket", ...).
    virtual const char* name() const = 0;
    // On failure reason says why in words; close() is still called.
    virtual ViStatus open(const OpenRequest& req, std::string& reason) = 0;
    virtual void close() = 0;

    // The operations, with the published statuses; counts are what moved,
    // also on failure.
    virtual ViStatus read(uint8_t* buf, uint32_t count, uint32_t& got) = 0;
    virtual ViStatus bufRead(uint8_t* buf, uint32_t count, uint32_t& got) { return read(buf, count, got); }
    virtual ViStatus readToFile(const char* fileName, uint32_t count, uint32_t& got) = 0;
    virtual ViStatus write(const uint8_t* data, uint32_t count, uint32_t& written) = 0;
    virtual ViStatus writeFromFile(const char* fileName, uint32_t count, uint32_t& written) = 0;
    virtual ViStatus readStb(uint16_t& stb) = 0;
    virtual ViStatus clear() = 0;
    virtual ViStatus gpibControlRen(uint16_t mode) { return VI_ERROR_NSUP_OPER; }

    // value points to storage of the attribute's published size.
    virtual ViStatus getAttribute(ViAttr attr, void* value) = 0;
    virtual ViStatus setAttribute(ViAttr attr, ViAttrState state) = 0;
};

using BackendFactory = std::unique_ptr<Backend> (*)();

// Each backend file calls this once, from a static initialiser; false when
// the kind is served already (the first registration stays).
bool registerBackend(ResourceKind kind, BackendFactory make);
// A fresh, unopened session of the class serving kind; nullptr when none does.
std::unique_ptr<Backend> makeBackend(ResourceKind kind);

// ---- attribute values ------------------------------------------------------

enum class AttrType { U8, U16, U32, Bool, Str };

struct AttrValue {
    AttrType type = AttrType::U32;
    uint64_t num = 0;
    std::string str;

    static AttrValue number(AttrType t, uint64_t x) { return {t, x, {}}; }
    static AttrValue boolean(bool b) { return {AttrType::Bool, b ? 1u : 0u, {}}; }
    static AttrValue text(std::string s) { return {AttrType::Str, 0, std::move(s)}; }
};

// Writes v in its published size: ViUInt8, ViUInt16 (booleans too), ViUInt32,
// or a string of at most VI_FIND_BUFLEN bytes with its NUL.
void storeAttribute(const AttrValue& v, void* out);

// How a set refuses or takes a value; the field changes only on VI_SUCCESS.
ViStatus setBoolean(bool& field, ViAttrState value);
ViStatus setChoice(uint16_t& field, ViAttrState value, std::initializer_list<uint16_t> allowed);

constexpr uint32_t kSpecVersion = 0x00500800;  // the published revision this layer follows
constexpr uint32_t kImplVersion = 0x00100000;
constexpr const char* kManufacturer = "Quilvane";

// ---- our own transports ------------------------------------------------------

// The attributes every one of our sessions has. Defaults follow the published
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
    uint16_t ioProt = VI_PROT_NORMAL;
};

// A transport of this layer: it moves bytes into a sink and out of a buffer;
// this class turns that into the operations (memory, files) and answers the
// attributes every session has. Subclasses add their interface's attributes
// by overriding readAttribute/setAttribute and falling back to this class.
class BuiltinBackend : public Backend {
public:
    ViStatus open(const OpenRequest& req, std::string& reason) final;
    ViStatus read(uint8_t* buf, uint32_t count, uint32_t& got) final;
    ViStatus readToFile(const char* fileName, uint32_t count, uint32_t& got) final;
    ViStatus write(const uint8_t* data, uint32_t count, uint32_t& written) final;
    ViStatus writeFromFile(const char* fileName, uint32_t count, uint32_t& written) final;
    ViStatus getAttribute(ViAttr attr, void* value) final;
    ViStatus setAttribute(ViAttr attr, ViAttrState state) override;

    SessionAttrs attrs;

protected:
    virtual ViStatus connect(const Resource& r, const Deadline& dl, std::string& reason) = 0;
    // Reads up to count bytes into the sink; got counts what arrived even on
    // failure. VI_SUCCESS (END), VI_SUCCESS_TERM_CHAR or VI_SUCCESS_MAX_CNT.
    virtual ViStatus readInto(Sink& sink, uint32_t count, uint32_t& got) = 0;
    // end: this buffer ends the message (the END signal where there is one).
    virtual ViStatus writePiece(const uint8_t* data, uint32_t count, bool end, uint32_t& written) = 0;
    virtual uint16_t interfaceType() const = 0;
    virtual const char* resourceClass() const { return "INSTR"; }
    // False when the session has no attribute attr.
    virtual bool readAttribute(ViAttr attr, AttrValue& v) const;

    const Resource& resource() const { return resource_; }

private:
    Resource resource_;
    ViSession rm_ = 0;
};

// The attributes of every TCPIP session, whatever its protocol.
struct TcpipAttrs {
    bool noDelay = true;
    bool keepAlive = false;

    bool read(const Resource& r, ViAttr attr, AttrValue& v) const;
    // True when attr is a TCPIP attribute; status then tells how the set went.
    bool set(ViAttr attr, ViAttrState value, ViStatus& status);
};

// Raw socket and serial: a byte stream framed by ResponseFramer.
class StreamBackend : public BuiltinBackend {
public:
    // The status byte through "*STB?": there is no serial poll on a stream.
    ViStatus readStb(uint16_t& stb) override;
    void close() override;

protected:
    ViStatus readInto(Sink& sink, uint32_t count, uint32_t& got) override;
    ViStatus writePiece(const uint8_t* data, uint32_t count, bool end, uint32_t& written) override;
    virtual bool endsAtTermChar() const { return attrs.termCharEn; }
    void attach(Fd fd, bool isSocket);
    void resetInput();

    Fd fd_;
    bool isSocket_ = false;
    StreamReader reader_;
    ResponseFramer framer_;
    bool skipTerminator_ = false;
    bool forceTermChar_ = false;  // while an answer of ours (*STB?) is read
};

}  // namespace qv::visa
