#include "vif_internal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cfenv>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace qv::io::detail {

double leadingNumber(std::string_view t) {
    size_t i = 0;
    while (i < t.size() && (t[i] == ' ' || t[i] == '\t')) ++i;
    size_t start = i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    size_t digits = 0;
    while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i, ++digits;
    if (i < t.size() && t[i] == '.') {
        ++i;
        while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i, ++digits;
    }
    if (digits == 0) return 0;
    size_t end = i;
    if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
        size_t j = i + 1;
        if (j < t.size() && (t[j] == '+' || t[j] == '-')) ++j;
        size_t expDigits = 0;
        while (j < t.size() && t[j] >= '0' && t[j] <= '9') ++j, ++expDigits;
        if (expDigits) end = j;
    }
    std::string_view num = t.substr(start, end - start);
    if (!num.empty() && num[0] == '+') num.remove_prefix(1);
    double v = 0;
    auto r = std::from_chars(num.data(), num.data() + num.size(), v);
    if (r.ec == std::errc::result_out_of_range) return num[0] == '-' ? -HUGE_VAL : HUGE_VAL;
    return r.ec == std::errc() ? v : 0;
}

long roundHalfEven(double v) {
    if (!std::isfinite(v)) return 0;
    double r = std::nearbyint(v);  // the default rounding mode rounds half to even
    if (r > 2147483647.0) return 2147483647L;
    if (r < -2147483648.0) return -2147483647L - 1;
    return long(r);
}

std::string hex(int64_t v) {
    char buf[24];
    std::snprintf(buf, sizeof buf, "%X", static_cast<unsigned>(uint32_t(v)));
    return buf;
}

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

}  // namespace qv::io::detail
