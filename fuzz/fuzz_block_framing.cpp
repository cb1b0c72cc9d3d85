// Answers from instruments: the block header readers (the VISA layer's and
// the one the file transfers use) and the stream framer must stay within
// their input whatever the bytes and however they are cut.
#include "instrument_io/vif_internal.h"
#include "instrument_io/visa/framing.h"

#include <string_view>

#include <cstdint>
#include <cstddef>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    qv::visa::BlockHeader h = qv::visa::parseBlockHeader(data, size);
    if (h.status == qv::visa::BlockHeaderStatus::Definite && h.headerLength > size) __builtin_trap();
    // The transfers' header: a digit count, then exactly that many length
    // characters. A length is only ever made of digits.
    std::string_view text(reinterpret_cast<const char*>(data), size);
    size_t digits = qv::io::detail::blockDigitCount(text.substr(0, 2));
    if (digits > 9) __builtin_trap();
    if (digits > 0 && size >= 2 + digits) {
        std::string_view field = text.substr(2, digits);
        uint64_t length = 0;
        auto kind = qv::io::detail::parseLengthField(field, digits, length);
        if (kind == qv::io::detail::LengthField::Length) {
            if (length >= 1000000000ull) __builtin_trap();
            for (char c : field)
                if (c < '0' || c > '9') __builtin_trap();
        } else if (length != 0) {
            __builtin_trap();
        }
    }
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
