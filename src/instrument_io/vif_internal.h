// Small helpers shared by the files of VIF.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::io::detail {

// The numeric value at the start of a text, as instruments' answers are
// read: leading blanks, sign, digits, "." decimals, exponent; 0 when none.
double leadingNumber(std::string_view text);

// Rounds half to even, as assignments of a quotient to an integer do in the
// original arithmetic of these transfers.
long roundHalfEven(double v);

// Upper-case hexadecimal without leading zeros (negative values as their
// 32-bit pattern).
std::string hex(int64_t v);

bool fileExists(const std::string& path);
void removeFile(const std::string& path);
long fileSize(const std::string& path);

}  // namespace qv::io::detail
