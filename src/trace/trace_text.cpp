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

// Appends value as TrimmedText writes it, with mark as the decimal mark.
// Returns the end; out must have room for 32 characters.
char* putDouble(char* out, double value, char mark) {
    if (std::isnan(value)) return std::copy_n("NaN", 3, out);
    if (std::isinf(value)) return value < 0 ? std::copy_n("-Infinity", 9, out) : std::copy_n("Infinity", 8, out);
    if (value == 0) {
        *out = '0';
        return out + 1;
    }
    char* end = std::to_chars(out, out + 32, value, std::chars_format::general, 15).ptr;
    for (char* p = out; p != end; ++p) {
        if (*p == '.') *p = mark;
        else if (*p == 'e') *p = 'E';
    }
    return end;
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
