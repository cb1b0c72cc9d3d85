// Answers from instruments: the block header reader and the stream framer
// must stay within their input whatever the bytes and however they are cut.
#include "instrument_io/visa/framing.h"

#include <cstdint>
#include <cstddef>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    qv::visa::BlockHeader h = qv::visa::parseBlockHeader(data, size);
    if (h.status == qv::visa::BlockHeaderStatus::Definite && h.headerLength > size) __builtin_trap();
    // First byte picks the chunk size the framer sees the rest in.
    size_t chunk = size_t(data[0] % 17) + 1;
    qv::visa::ResponseFramer f;
    size_t pos = 1;
    while (pos < size) {
        size_t n = chunk < size - pos ? chunk : size - pos;
        bool ended = false;
        size_t used = f.scan(data + pos, n, '\n', ended);
        if (used == 0 || used > n) __builtin_trap();
        if (ended && data[pos + used - 1] != '\n') __builtin_trap();
        pos += used;
    }
    return 0;
}
