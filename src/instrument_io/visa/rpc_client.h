// A client of one ONC RPC program over one TCP connection, with deadlines.
// Reply bodies can be read piecewise, so that large results (device_read
// data) stream into a file instead of memory.
#pragma once

#include "io.h"
#include "oncrpc/oncrpc.h"

#include <string>

namespace qv::visa {

class RpcClient {
public:
    ViStatus connect(const std::string& host, uint16_t port, const Deadline& dl, std::string& reason);
    bool connected() const { return bool(fd_); }
    void close() { fd_.reset(); }

    // Sends a call and reads the reply header. On VI_SUCCESS the result body
    // follows: read it with readBody/transferBody, then finishReply().
    ViStatus call(uint32_t prog, uint32_t vers, uint32_t proc, const rpc::Bytes& args, const Deadline& dl);
    ViStatus readBody(void* dst, size_t n, const Deadline& dl);
    ViStatus readU32(uint32_t& v, const Deadline& dl);
    ViStatus transferBody(Sink& sink, uint64_t n, const Deadline& dl);
    ViStatus skipBody(uint64_t n, const Deadline& dl);
    ViStatus finishReply(const Deadline& dl);

private:
    ViStatus nextFragment(const Deadline& dl);
    ViStatus readRaw(void* dst, size_t n, const Deadline& dl);
    ViStatus skipRestOfRecord(const Deadline& dl);

    Fd fd_;
    StreamReader reader_;
    uint32_t xid_ = 0;
    uint32_t fragLeft_ = 0;
    bool lastFragment_ = true;
    bool inRecord_ = false;
};

// Asks the port mapper of host for the TCP port of prog/vers. 0 = not registered.
ViStatus pmapGetPort(const std::string& host, uint16_t pmapPort, uint32_t prog, uint32_t vers,
                     const Deadline& dl, uint16_t& port, std::string& reason);

}  // namespace qv::visa
