// Small helpers shared by the files of VIF.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::io::detail {

// A quotient assigned to a whole number: rounded half to even and clamped.
long roundHalfEven(double v);

bool fileExists(const std::string& path);
void removeFile(const std::string& path);
long fileSize(const std::string& path);

// The length field of a definite-length block: exactly `count` characters.
// All digits give the length; a minus and digits is the negative value some
// instruments send for a missing file; anything else is a corrupt header.
enum class LengthField { Length, Negative, Corrupt };
LengthField parseLengthField(std::string_view digits, size_t count, uint64_t& length);

// The digit count of a block header ("#<n>"): 1 to 9, or 0 when it is none.
size_t blockDigitCount(std::string_view head);

// The wait for a block of `length` bytes when the caller gives none: one
// millisecond per 100 bytes, and never below 100 ms.
double sizedTimeoutMs(uint64_t length);

}  // namespace qv::io::detail
