// What socket and serial sessions share: reads framed on a byte stream,
// writes, and the status byte by query.
#include "backend.h"

#include <algorithm>
#include <cstdlib>

namespace qv::visa {

void StreamBackend::attach(Fd fd, bool isSocket) {
    fd_ = std::move(fd);
    isSocket_ = isSocket;
    reader_.attach(fd_.get(), isSocket);
    framer_.reset();
}

void StreamBackend::resetInput() {
    // An answer may still be on its way: wait until the line is quiet.
    reader_.drain(20, Deadline::afterMs(std::min<uint32_t>(attrs.timeoutMs, 500)));
    framer_.reset();
    skipTerminator_ = false;
}

ViStatus StreamBackend::readInto(Sink& sink, uint32_t count, uint32_t& got) {
    got = 0;
    if (!fd_) return VI_ERROR_CONN_LOST;
    Deadline dl = Deadline::afterMs(attrs.timeoutMs);
    const bool framed = forceTermChar_ || endsAtTermChar();
    const uint8_t term = attrs.termChar;
    while (got < count) {
        if (reader_.available() == 0) {
            uint64_t raw = framed ? framer_.rawRemaining() : uint64_t(count - got);
            // Long binary stretches to a file skip the scanner and user space.
            if (!skipTerminator_ && raw >= 64 * 1024 && sink.spliceTarget() >= 0) {
                uint64_t n = std::min<uint64_t>(raw, count - got);
                ViStatus s = reader_.transfer(sink, n, dl);
                if (s != VI_SUCCESS) return s;  // the count of a failed transfer is not reliable
                if (framed) framer_.skipRaw(n);
                got += uint32_t(n);
                continue;
            }
            ViStatus s = reader_.fill(dl);
            if (s != VI_SUCCESS) return s;
        }
        if (skipTerminator_) {
            // The terminator of a block that was read by its length.
            skipTerminator_ = false;
            if (reader_.data()[0] == term) {
                reader_.consume(1);
                continue;
            }
        }
        size_t lim = std::min<size_t>(reader_.available(), count - got);
        bool ended = false;
        size_t k = framed ? framer_.scan(reader_.data(), lim, term, ended) : lim;
        ViStatus s = sink.put(reader_.data(), k);
        if (s != VI_SUCCESS) return s;
        reader_.consume(k);
        got += uint32_t(k);
        if (ended) return VI_SUCCESS_TERM_CHAR;
    }
    return VI_SUCCESS_MAX_CNT;
}

ViStatus StreamBackend::writePiece(const uint8_t* data, uint32_t count, bool end, uint32_t& written) {
    written = 0;
    if (!fd_) return VI_ERROR_CONN_LOST;
    if (framer_.awaitingTerminator()) {
        // A new command after a block read by its length: its terminator is
        // still on the way and belongs to the old answer.
        framer_.reset();
        skipTerminator_ = true;
    }
    Deadline dl = Deadline::afterMs(attrs.timeoutMs);
    ViStatus s = sendAll(fd_.get(), data, count, dl, isSocket_);
    if (s != VI_SUCCESS) return s;
    written = count;
    return VI_SUCCESS;
}

ViStatus StreamBackend::readStb(uint16_t& stb) {
    static const uint8_t kQuery[] = {'*', 'S', 'T', 'B', '?', '\n'};
    uint32_t n = 0;
    ViStatus s = writePiece(kQuery, sizeof kQuery, true, n);
    if (s < 0) return s;
    uint8_t answer[64];
    MemorySink sink(answer, sizeof answer - 1);
    // The answer ends at the terminator even when reads otherwise do not.
    forceTermChar_ = true;
    s = readInto(sink, sizeof answer - 1, n);
    forceTermChar_ = false;
    if (s < 0) return s;
    answer[n] = 0;
    char* endp = nullptr;
    long v = std::strtol(reinterpret_cast<char*>(answer), &endp, 10);
    if (endp == reinterpret_cast<char*>(answer) || v < 0 || v > 255) return VI_ERROR_IO;
    stb = uint16_t(v);
    return VI_SUCCESS;
}

void StreamBackend::close() { fd_.reset(); }

}  // namespace qv::visa
