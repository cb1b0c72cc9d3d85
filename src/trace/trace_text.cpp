// The one text form of trace data and the decimal mark it is written with.
// Large traces are streamed through a fixed buffer: a 1,000,000-point
// trace must never become one string or a million small ones.
#include "app/numeric.h"
#include "trace/trace.h"

#include <langinfo.h>
#include <locale.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <algorithm>

namespace qv::trace {

namespace {

// The locale name that decides numbers, by the usual precedence.
const char* numericLocaleName() {
    for (const char* var : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        const char* v = std::getenv(var);
        if (v && *v) return v;
    }
    return "C";
}

// Appends value as TrimmedText writes it (up to 15 significant digits,
// exponent form below 1E-04 and from 1E+15), with mark as the decimal mark.
// Returns the end; out must have room for 32 characters.
char* putDouble(char* out, double value, char mark) {
    if (std::isnan(value)) return std::copy_n("NaN", 3, out);
    if (std::isinf(value)) return value < 0 ? std::copy_n("-Infinity", 9, out) : std::copy_n("Infinity", 8, out);
    if (value == 0) {
        *out = '0';
        return out + 1;
    }
    // Subnormal values carry fewer digits than 15, so their shortest digits
    // are not their rounded ones; they are rare enough to take the slow way.
    if (std::fabs(value) < std::numeric_limits<double>::min()) {
        const std::string s = DoubleText(value, mark);
        return std::copy(s.begin(), s.end(), out);
    }
    // The shortest digits are several times faster to find than rounded
    // ones, and when there are at most 15 they are the rounded ones.
    char sci[32];
    const char* end = std::to_chars(sci, sci + sizeof sci, value, std::chars_format::scientific).ptr;
    const char* p = sci;
    const bool negative = *p == '-';
    if (negative) ++p;
    char digits[24];
    int count = 0;
    for (; p != end && *p != 'e'; ++p)
        if (*p != '.' && count < 24) digits[count++] = *p;
    int exponent = 0;
    if (p != end) std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);
    if (count > 15) {
        // No 15-digit rounding point lies between the value and its shortest
        // digits, so rounding those digits is exact unless they end on a tie.
        if (count == 16 && digits[15] == '5') {
            char* e = std::to_chars(out, out + 32, value, std::chars_format::general, 15).ptr;
            for (char* q = out; q != e; ++q) {
                if (*q == '.') *q = mark;
                else if (*q == 'e') *q = 'E';
            }
            return e;
        }
        const bool up = digits[15] >= '5';
        count = 15;
        if (up) {
            int k = 14;
            while (k >= 0 && digits[k] == '9') digits[k--] = '0';
            if (k >= 0) {
                ++digits[k];
            } else {
                digits[0] = '1';
                ++exponent;
            }
        }
        while (count > 1 && digits[count - 1] == '0') --count;
    }
    char* o = out;
    if (negative) *o++ = '-';
    if (exponent < -4 || exponent >= 15) {
        *o++ = digits[0];
        if (count > 1) {
            *o++ = mark;
            o = std::copy_n(digits + 1, count - 1, o);
        }
        *o++ = 'E';
        *o++ = exponent < 0 ? '-' : '+';
        const int a = exponent < 0 ? -exponent : exponent;
        if (a < 10) *o++ = '0';
        return std::to_chars(o, o + 4, a).ptr;
    }
    if (exponent < 0) {
        *o++ = '0';
        *o++ = mark;
        o = std::fill_n(o, -exponent - 1, '0');
        return std::copy_n(digits, count, o);
    }
    const int whole = exponent + 1;
    if (count <= whole) {
        o = std::copy_n(digits, count, o);
        return std::fill_n(o, whole - count, '0');
    }
    o = std::copy_n(digits, whole, o);
    *o++ = mark;
    return std::copy_n(digits + whole, count - whole, o);
}

// Writes the trace text in pieces to sink(const char*, size_t); stops at
// the first piece the sink refuses.
template <typename Sink>
bool writeText(const TraceData& data, char decimalMark, Sink&& sink) {
    constexpr size_t kBuffer = 1 << 16;
    constexpr size_t kLineMax = 3 * 32 + 8;
    char buf[kBuffer];
    char* p = buf;
    for (size_t k = 0; k < data.size(); ++k) {
        const TracePoint t = data[k];
        p = putDouble(p, t.X, decimalMark);
        *p++ = ';';
        *p++ = ' ';
        if (t.IsComplex) {
            p = putDouble(p, t.Re, decimalMark);
            *p++ = ';';
            *p++ = ' ';
            p = putDouble(p, t.Im, decimalMark);
        } else {
            p = putDouble(p, t.Y, decimalMark);
        }
        *p++ = '\r';
        *p++ = '\n';
        if (size_t(p - buf) > kBuffer - kLineMax) {
            if (!sink(buf, size_t(p - buf))) return false;
            p = buf;
        }
    }
    return p == buf || sink(buf, size_t(p - buf));
}

}  // namespace

char SystemDecimalMark() {
    locale_t loc = newlocale(LC_NUMERIC_MASK, numericLocaleName(), locale_t(0));
    if (loc == locale_t(0)) return '.';
    const char* radix = nl_langinfo_l(RADIXCHAR, loc);
    const char mark = radix && radix[0] == ',' ? ',' : '.';
    freelocale(loc);
    return mark;
}

std::string DoubleText(double value, char decimalMark) {
    std::string s = app::TrimmedText(value);
    if (decimalMark != '.')
        for (char& c : s)
            if (c == '.') c = decimalMark;
    return s;
}

void WriteTraceText(std::ostream& out, const TraceData& data, char decimalMark) {
    writeText(data, decimalMark, [&](const char* p, size_t n) {
        out.write(p, std::streamsize(n));
        return bool(out);
    });
}

std::string TraceDataText(const TraceData& data, char decimalMark) {
    std::string s;
    s.reserve(data.size() * (data.complex() ? 60 : 40));
    writeText(data, decimalMark, [&](const char* p, size_t n) {
        s.append(p, n);
        return true;
    });
    return s;
}

bool SaveTraceText(const std::string& path, const TraceData& data, char decimalMark, bool trailingEmptyLine,
                   std::string& why) {
    const std::string part = path + ".part";
    FILE* f = std::fopen(part.c_str(), "wb");
    if (!f) {
        why = std::strerror(errno);
        return false;
    }
    bool ok = writeText(data, decimalMark, [&](const char* p, size_t n) { return std::fwrite(p, 1, n, f) == n; });
    if (ok && trailingEmptyLine) ok = std::fwrite("\r\n", 1, 2, f) == 2;
    if (!ok) why = std::strerror(errno);
    if (std::fclose(f) != 0 && ok) {
        ok = false;
        why = std::strerror(errno);
    }
    if (ok && std::rename(part.c_str(), path.c_str()) != 0) {
        ok = false;
        why = std::strerror(errno);
    }
    if (!ok) std::remove(part.c_str());
    return ok;
}

}  // namespace qv::trace
