// IEEE 488.2 message framing for byte-stream transports (raw socket, serial),
// which have no END signal: a response ends at the termination character,
// except inside a definite-length block. Knowing where a block's binary data
// lies keeps an LF inside it from ending the read. Quotes are not tracked:
// free-form answers (*IDN? and the like) may hold a lone quote.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv::visa {

enum class BlockHeaderStatus { NeedMore, Definite, Indefinite, Invalid };

struct BlockHeader {
    BlockHeaderStatus status = BlockHeaderStatus::Invalid;
    size_t headerLength = 0;  // "#" + digit + digits
    uint64_t dataLength = 0;  // Definite only
};

// Reads a block header at p[0] == '#'. Never reads past size.
BlockHeader parseBlockHeader(const uint8_t* p, size_t size);

class ResponseFramer {
public:
    // Scans bytes about to be handed to the reader. Returns how many belong to
    // the current message (at most size); ended is set when the last of them
    // is the termination character that ends the message.
    size_t scan(const uint8_t* p, size_t size, uint8_t termChar, bool& ended);
    // Binary block bytes that may pass without scanning.
    uint64_t rawRemaining() const { return state_ == State::BlockData ? blockLeft_ : 0; }
    void skipRaw(uint64_t n);
    // True when a block was read to its end and only the terminator is left.
    bool awaitingTerminator() const { return state_ == State::AfterBlock; }
    void reset() { *this = ResponseFramer(); }

private:
    enum class State { Start, Text, Hash, Digits, BlockData, AfterBlock };
    State state_ = State::Start;
    int digitsLeft_ = 0;
    uint64_t blockLeft_ = 0;
    bool elementStart_ = true;  // a '#' here begins a block
};

}  // namespace qv::visa
