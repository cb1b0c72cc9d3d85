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

}  // namespace qv::io::detail
