// Fuzzes the simulator's input side: arbitrary bytes, cut into arbitrary
// chunks, go through the message splitter and the SCPI engine of a fresh
// instrument (with its own temporary root), in stream or VXI-11 style.
#include <cstddef>
#include <cstdint>
#include <string>

#include "sim/instrument.h"
#include "sim/session.h"

namespace {

// Looks at an answer the way a transport would, without pulling a huge
// generated or file-backed one into memory.
void touch(const qv::sim::Response& r) {
    uint8_t head[64];
    size_t n = r.copyOut(0, head, sizeof head);
    if (r.size() > sizeof head) r.copyOut(r.size() - 1, head, 1);
    (void)n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const bool queued = data[0] & 1;
    const size_t maxChunk = 1 + (data[1] % 64);
    data += 2;
    size -= 2;

    qv::sim::InstrumentOptions options;
    options.profile = "TKD";
    options.spillThreshold = 48;  // small, so that spooling is exercised too
    std::string error;
    auto inst = qv::sim::Instrument::create(options, error);
    if (!inst) return 0;
    qv::sim::Session session(*inst, queued ? qv::sim::Session::Mode::Queued : qv::sim::Session::Mode::Immediate,
                             [](qv::sim::ResponseMessage& r) {
                                 touch(r.data);
                                 return true;
                             });
    // Chunk lengths come from the data itself, so the fuzzer controls where
    // messages, blocks and strings are cut.
    size_t pos = 0, step = 0;
    while (pos < size) {
        size_t chunk = 1 + (size_t(data[pos]) * 7 + step++) % maxChunk;
        if (chunk > size - pos) chunk = size - pos;
        bool end = queued && (data[pos + chunk - 1] == 0x04);
        session.feed(data + pos, chunk, end);
        if (queued) {
            if (auto* p = session.pending()) {
                touch(p->msg.data);
                session.consume(data[pos] % 3 == 0 ? p->remaining() : p->remaining() / 2);
            }
            if (data[pos] == 0x03) session.clear();
        }
        pos += chunk;
    }
    session.statusByte();
    return 0;
}
