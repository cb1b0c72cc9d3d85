// One client's conversation with an instrument: its input stream and, for
// transports that read on request (VXI-11), its output buffer.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "instrument.h"
#include "message_splitter.h"

namespace qv::sim {

class Session {
public:
    // Immediate: every response goes to the deliver callback as soon as it
    // exists (stream transports). Queued: responses wait for reads.
    enum class Mode { Immediate, Queued };
    // Returns false when the connection must close (a drop fault, a dead peer).
    using Deliver = std::function<bool(ResponseMessage&)>;

    Session(Instrument& inst, Mode mode, Deliver deliver = {});
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Feeds received bytes; end marks the end of a message (VXI-11 END).
    // Returns false when the connection must close.
    bool feed(const uint8_t* data, size_t size, bool end = false);

    // Queued mode: the response waiting to be read.
    struct Pending {
        ResponseMessage msg;
        uint64_t consumed = 0;
        std::chrono::steady_clock::time_point readyAt;
        uint64_t remaining() const { return msg.data.size() - consumed; }
    };
    Pending* pending() { return pending_ ? &*pending_ : nullptr; }
    // Marks n more bytes as read; the response goes when all are read.
    void consume(uint64_t n);
    // Device clear: drops partial input and unread output.
    void clear();
    uint8_t statusByte();
    Instrument& instrument() { return inst_; }

private:
    bool onMessage(ProgramMessage& msg);

    Instrument& inst_;
    Mode mode_;
    Deliver deliver_;
    MessageSplitter splitter_;
    MessageSplitter::Sink sink_;
    std::optional<Pending> pending_;
};

}  // namespace qv::sim
