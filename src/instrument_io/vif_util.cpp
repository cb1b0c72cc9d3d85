#include "vif_internal.h"

#include "app/numeric.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>


namespace qv::io::detail {

long roundHalfEven(double v) { return long(app::ToInt32(v)); }

bool fileExists(const std::string& path) {
    struct stat st {};
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

void removeFile(const std::string& path) {
    if (!path.empty()) unlink(path.c_str());
}

long fileSize(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) return -1;
    return st.st_size > 0x7FFFFFFF ? 0x7FFFFFFF : long(st.st_size);
}

LengthField parseLengthField(std::string_view digits, size_t count, uint64_t& length) {
    length = 0;
    if (count == 0 || count > 9 || digits.size() != count) return LengthField::Corrupt;
    size_t start = digits[0] == '-' ? 1 : 0;
    if (start == count) return LengthField::Corrupt;
    uint64_t v = 0;
    for (size_t i = start; i < count; ++i) {
        if (digits[i] < '0' || digits[i] > '9') return LengthField::Corrupt;
        v = v * 10 + uint64_t(digits[i] - '0');  // at most 9 digits: no overflow
    }
    if (start == 1) return LengthField::Negative;
    length = v;
    return LengthField::Length;
}

size_t blockDigitCount(std::string_view head) {
    if (head.size() < 2 || head[1] < '1' || head[1] > '9') return 0;
    return size_t(head[1] - '0');
}

double sizedTimeoutMs(uint64_t length) { return std::max(double(length) / 100.0, 100.0); }

}  // namespace qv::io::detail
