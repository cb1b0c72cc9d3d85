#include "app/numeric.h"

#include "app/text.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

namespace qv::app {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Length of the number that starts at text[pos] (sign, mantissa, exponent),
// 0 when none. Sets the span of the mantissa's significant part for the
// range check and the parsed exponent.
struct NumberSpan {
    size_t length = 0;
    bool negative = false;
    size_t unsignedStart = 0;  // where from_chars starts
    long magnitude = 0;        // rough decimal exponent of the value
};

NumberSpan scanNumber(std::string_view t, size_t pos) {
    NumberSpan n;
    size_t i = pos;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) {
        n.negative = t[i] == '-';
        ++i;
    }
    n.unsignedStart = i;
    size_t intStart = i;
    while (i < t.size() && isDigit(t[i])) ++i;
    size_t intDigits = i - intStart;
    size_t fracDigits = 0;
    size_t fracStart = i;
    if (i < t.size() && t[i] == '.') {
        ++i;
        fracStart = i;
        while (i < t.size() && isDigit(t[i])) ++i;
        fracDigits = i - fracStart;
    }
    if (intDigits + fracDigits == 0) return NumberSpan{};
    long exponent = 0;
    if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
        size_t j = i + 1;
        bool expNegative = false;
        if (j < t.size() && (t[j] == '+' || t[j] == '-')) {
            expNegative = t[j] == '-';
            ++j;
        }
        if (j < t.size() && isDigit(t[j])) {
            while (j < t.size() && isDigit(t[j])) {
                if (exponent < 100000) exponent = exponent * 10 + (t[j] - '0');
                ++j;
            }
            if (expNegative) exponent = -exponent;
            i = j;
        }
    }
    // Where the first significant digit stands, for telling overflow from
    // underflow when the value does not fit a double.
    long lead = 0;
    size_t k = intStart;
    while (k < intStart + intDigits && t[k] == '0') ++k;
    if (k < intStart + intDigits) {
        lead = static_cast<long>(intStart + intDigits - k);
    } else {
        size_t z = 0;
        while (z < fracDigits && t[fracStart + z] == '0') ++z;
        lead = -static_cast<long>(z);
    }
    n.magnitude = lead + exponent;
    n.length = i - pos;
    return n;
}

// value = 0.d1 d2 d3 ... x 10^(exp + 1), i.e. d1.d2d3... x 10^exp; d holds
// up to 15 significant digits without trailing zeros, empty for zero.
struct Digits {
    std::string d;
    long exp = 0;
};

Digits decompose(double a) {
    Digits x;
    if (!(a > 0) || !std::isfinite(a)) return x;
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, a, std::chars_format::scientific, 14);
    std::string_view s(buf, static_cast<size_t>(r.ptr - buf));
    size_t e = s.find('e');
    for (size_t i = 0; i < e; ++i)
        if (isDigit(s[i])) x.d += s[i];
    std::string_view ex = s.substr(e + 1);
    bool neg = !ex.empty() && ex[0] == '-';
    if (!ex.empty() && (ex[0] == '-' || ex[0] == '+')) ex.remove_prefix(1);
    long v = 0;
    std::from_chars(ex.data(), ex.data() + ex.size(), v);
    x.exp = neg ? -v : v;
    while (!x.d.empty() && x.d.back() == '0') x.d.pop_back();
    return x;
}

// Integer and fraction digits of x rounded half away from zero to dec
// decimals. The integer part has no leading zeros ("" for zero).
void toFixed(const Digits& x, long shift, int dec, std::string& ip, std::string& fp) {
    ip.clear();
    fp.assign(static_cast<size_t>(dec), '0');
    if (x.d.empty()) return;
    long k = x.exp + shift + 1;  // count of integer digits
    // A number far below the last decimal shown rounds to zero.
    if (k < -static_cast<long>(dec) - 1) return;
    std::string all;
    if (k <= 0) {
        all.assign(static_cast<size_t>(-k), '0');
        all += x.d;
        k = 0;
    } else {
        all = x.d;
        if (static_cast<long>(all.size()) < k) all.append(static_cast<size_t>(k) - all.size(), '0');
    }
    size_t keep = static_cast<size_t>(k) + static_cast<size_t>(dec);
    if (all.size() > keep) {
        bool up = all[keep] >= '5';
        all.resize(keep);
        if (up) {
            size_t i = keep;
            while (i > 0 && all[i - 1] == '9') {
                all[i - 1] = '0';
                --i;
            }
            if (i > 0) {
                ++all[i - 1];
            } else {
                all.insert(all.begin(), '1');
                ++k;
                ++keep;
            }
        }
    }
    if (all.size() < keep) all.append(keep - all.size(), '0');
    ip = all.substr(0, static_cast<size_t>(k));
    size_t nz = ip.find_first_not_of('0');
    ip = nz == std::string::npos ? std::string() : ip.substr(nz);
    fp = all.substr(static_cast<size_t>(k), static_cast<size_t>(dec));
}

enum class Region { Int, Frac, Exp };

struct Token {
    enum Kind { Place, Point, Comma, Literal, ExpMark } kind = Literal;
    Region region = Region::Int;
    bool zero = false;   // "0" place, else "#"
    std::string text;    // literal text, or the exponent letter
    bool expPlus = false;
};

struct Section {
    std::vector<Token> tokens;
    bool grouping = false;
    int scale1000 = 0;
    bool percent = false;
    bool hasPoint = false;
    bool hasExp = false;
    int intPlaces = 0, intMin = 0, fracPlaces = 0, fracMin = 0, expMin = 0;
};

// Splits a format into its sections at ";" outside quotes and escapes.
std::vector<std::string_view> splitSections(std::string_view f) {
    std::vector<std::string_view> out;
    size_t start = 0;
    bool quoted = false;
    for (size_t i = 0; i < f.size(); ++i) {
        char c = f[i];
        if (quoted) {
            if (c == '"') quoted = false;
        } else if (c == '"') {
            quoted = true;
        } else if (c == '\\') {
            ++i;
        } else if (c == ';') {
            out.push_back(f.substr(start, i - start));
            start = i + 1;
        }
    }
    out.push_back(f.substr(std::min(start, f.size())));
    return out;
}

Section parseSection(std::string_view f) {
    Section s;
    Region region = Region::Int;
    auto literal = [&](std::string_view text) {
        Token t;
        t.kind = Token::Literal;
        t.region = region;
        t.text = std::string(text);
        s.tokens.push_back(t);
    };
    for (size_t i = 0; i < f.size(); ++i) {
        char c = f[i];
        if (c == '"') {
            size_t end = f.find('"', i + 1);
            if (end == std::string_view::npos) end = f.size();
            literal(f.substr(i + 1, end - i - 1));
            i = end;
        } else if (c == '\\') {
            if (i + 1 < f.size()) {
                size_t len = 0;
                Utf8First(f.substr(i + 1), &len);
                literal(f.substr(i + 1, len));
                i += len;
            }
        } else if (c == '0' || c == '#') {
            Token t;
            t.kind = Token::Place;
            t.region = region;
            t.zero = c == '0';
            s.tokens.push_back(t);
        } else if (c == '.' && region == Region::Int) {
            Token t;
            t.kind = Token::Point;
            t.region = region;
            s.tokens.push_back(t);
            s.hasPoint = true;
            region = Region::Frac;
        } else if (c == ',' && region == Region::Int) {
            Token t;
            t.kind = Token::Comma;
            s.tokens.push_back(t);
        } else if ((c == 'E' || c == 'e') && region != Region::Exp && i + 1 < f.size() &&
                   (f[i + 1] == '+' || f[i + 1] == '-')) {
            Token t;
            t.kind = Token::ExpMark;
            t.region = region;
            t.text = std::string(1, c);
            t.expPlus = f[i + 1] == '+';
            s.tokens.push_back(t);
            s.hasExp = true;
            region = Region::Exp;
            ++i;
        } else {
            if (c == '%') s.percent = true;
            literal(f.substr(i, 1));
        }
    }
    // Commas: between two integer places they group thousands; after the
    // last integer place each divides by 1000; elsewhere they are text.
    // placeAfter[i]: an integer place follows token i before the point.
    std::vector<bool> placeAfter(s.tokens.size() + 1, false);
    for (size_t i = s.tokens.size(); i-- > 0;) {
        const Token& t = s.tokens[i];
        bool intPlace = t.kind == Token::Place && t.region == Region::Int;
        bool stop = t.kind == Token::Point || t.kind == Token::ExpMark;
        placeAfter[i] = intPlace || (!stop && placeAfter[i + 1]);
    }
    bool before = false;
    for (size_t i = 0; i < s.tokens.size(); ++i) {
        Token& t = s.tokens[i];
        if (t.kind == Token::Place && t.region == Region::Int) before = true;
        if (t.kind != Token::Comma) continue;
        const bool after = placeAfter[i + 1];
        if (before && after) s.grouping = true;
        else if (before) ++s.scale1000;
        else {
            t.kind = Token::Literal;
            t.text = ",";
            continue;
        }
        t.kind = Token::Literal;  // emits nothing
        t.text.clear();
    }
    int firstZeroInt = -1, lastZeroFrac = -1, firstZeroExp = -1, expPlaces = 0;
    for (const Token& t : s.tokens) {
        if (t.kind != Token::Place) continue;
        switch (t.region) {
        case Region::Int:
            if (t.zero && firstZeroInt < 0) firstZeroInt = s.intPlaces;
            ++s.intPlaces;
            break;
        case Region::Frac:
            if (t.zero) lastZeroFrac = s.fracPlaces;
            ++s.fracPlaces;
            break;
        case Region::Exp:
            if (t.zero && firstZeroExp < 0) firstZeroExp = expPlaces;
            ++expPlaces;
            break;
        }
    }
    s.intMin = firstZeroInt < 0 ? 0 : s.intPlaces - firstZeroInt;
    s.fracMin = lastZeroFrac + 1;
    s.expMin = firstZeroExp < 0 ? 0 : expPlaces - firstZeroExp;
    return s;
}

// Formats a non-negative value with one section; nonZero tells whether any
// digit shown is not zero (the sign depends on it).
std::string formatSection(const Section& s, double a, bool& nonZero) {
    if (s.percent) a *= 100.0;
    for (int i = 0; i < s.scale1000; ++i) a /= 1000.0;
    Digits x = decompose(a);
    std::string ip, fp;
    long e = 0;
    if (s.hasExp && !x.d.empty()) {
        e = s.intPlaces > 0 ? x.exp - (s.intPlaces - 1) : x.exp + 1;
        toFixed(x, -e, s.fracPlaces, ip, fp);
        // Rounding can carry into one more integer digit (9.99 -> 10.0).
        size_t allowed = s.intPlaces > 0 ? static_cast<size_t>(s.intPlaces) : 0;
        if (ip.size() > allowed) {
            ++e;
            toFixed(x, -e, s.fracPlaces, ip, fp);
        }
    } else {
        toFixed(x, 0, s.fracPlaces, ip, fp);
    }
    int shown = s.fracMin;
    for (int f = s.fracPlaces - 1; f >= s.fracMin; --f) {
        if (fp[static_cast<size_t>(f)] != '0') {
            shown = f + 1;
            break;
        }
    }
    nonZero = !ip.empty() || fp.substr(0, static_cast<size_t>(shown)).find_first_not_of('0') != std::string::npos;

    std::string digits = ip;
    if (static_cast<int>(digits.size()) < s.intMin)
        digits.insert(0, static_cast<size_t>(s.intMin) - digits.size(), '0');
    const long count = static_cast<long>(digits.size());
    std::string out;
    auto emitDigit = [&](long t) {
        out += digits[static_cast<size_t>(t)];
        long rest = count - 1 - t;
        if (s.grouping && rest > 0 && rest % 3 == 0) out += ',';
    };
    bool digitsDone = false;
    int intIndex = 0, fracIndex = 0;
    bool expDone = false;
    for (const Token& t : s.tokens) {
        switch (t.kind) {
        case Token::Place:
            if (t.region == Region::Int) {
                long j = count - s.intPlaces + intIndex;
                if (intIndex == 0 && j > 0) {
                    for (long k = 0; k <= j; ++k) emitDigit(k);
                } else if (j >= 0) {
                    emitDigit(j);
                }
                ++intIndex;
                digitsDone = true;
            } else if (t.region == Region::Frac) {
                if (fracIndex < shown) out += fp[static_cast<size_t>(fracIndex)];
                ++fracIndex;
            }
            // Exponent places are filled at the exponent mark.
            break;
        case Token::Point:
            if (s.intPlaces == 0 && !digitsDone) {
                for (long k = 0; k < count; ++k) emitDigit(k);
                digitsDone = true;
            }
            out += '.';
            break;
        case Token::ExpMark: {
            if (expDone) break;
            expDone = true;
            if (s.intPlaces == 0 && !digitsDone) {
                for (long k = 0; k < count; ++k) emitDigit(k);
                digitsDone = true;
            }
            out += t.text;
            if (e < 0) out += '-';
            else if (t.expPlus) out += '+';
            std::string ed = std::to_string(e < 0 ? -e : e);
            if (e == 0 && s.expMin == 0) ed.clear();
            if (static_cast<int>(ed.size()) < s.expMin) ed.insert(0, static_cast<size_t>(s.expMin) - ed.size(), '0');
            out += ed;
            break;
        }
        case Token::Comma:
        case Token::Literal: out += t.text; break;
        }
    }
    return out;
}

std::string_view namedFormat(std::string_view f) {
    if (EqualsNoCase(f, "Fixed")) return "0.00";
    if (EqualsNoCase(f, "Standard")) return "#,##0.00";
    if (EqualsNoCase(f, "Percent")) return "0.00%";
    if (EqualsNoCase(f, "Scientific")) return "0.00E+00";
    return f;
}

bool isPlainNumeric(std::string_view text) {
    std::string_view t = TrimBlanksTabs(text);
    if (t.empty()) return false;
    NumberSpan n = scanNumber(t, 0);
    return n.length == t.size();
}

std::string removeUnitMarks(std::string_view text) {
    std::string rest;
    for (char c : text)
        if (c != 's' && c != '%') rest += c;
    return rest;
}

}  // namespace

bool LeadingNumber(std::string_view text, double& value) {
    value = 0.0;
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
    NumberSpan n = scanNumber(text, i);
    if (n.length == 0) return false;
    const char* first = text.data() + n.unsignedStart;
    const char* last = text.data() + i + n.length;
    double v = 0.0;
    auto r = std::from_chars(first, last, v, std::chars_format::general);
    if (r.ec == std::errc::result_out_of_range) {
        if (n.magnitude > 0) return false;  // too large for a double
        v = 0.0;                            // too small: it is zero
    } else if (r.ec != std::errc() || r.ptr != last) {
        return false;
    }
    value = n.negative ? -v : v;
    return true;
}

double LeadingNumber(std::string_view text) {
    double v = 0.0;
    LeadingNumber(text, v);
    return v;
}

bool ErrorCodeIsZero(std::string_view answer) {
    double code = 1;
    return LeadingNumber(answer.substr(0, answer.find(',')), code) && code == 0;
}

double RoundHalfEven(double value) {
    if (!std::isfinite(value)) return value;
    double f = std::floor(value);
    double diff = value - f;
    if (diff > 0.5) return f + 1.0;
    if (diff < 0.5) return f;
    return std::fmod(f, 2.0) == 0.0 ? f : f + 1.0;
}

int16_t ToInt16(double value) {
    if (std::isnan(value)) return 0;
    double r = RoundHalfEven(value);
    if (r <= -32768.0) return -32768;
    if (r >= 32767.0) return 32767;
    return static_cast<int16_t>(r);
}

int32_t ToInt32(double value) {
    if (std::isnan(value)) return 0;
    double r = RoundHalfEven(value);
    if (r <= -2147483648.0) return std::numeric_limits<int32_t>::min();
    if (r >= 2147483647.0) return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(r);
}

namespace {
template <typename F>
std::string floatText(F value, int precision) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
    if (value == 0) return "0";
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, precision);
    std::string s(buf, r.ptr);
    for (char& c : s)
        if (c == 'e') c = 'E';
    return s;
}
}  // namespace

std::string TrimmedText(double value) { return floatText(value, 15); }
std::string TrimmedText(float value) { return floatText(value, 7); }
std::string TrimmedTextInteger(long long value) { return std::to_string(value); }

std::string TrimmedText(const Value& value) {
    switch (value.type()) {
    case ValueType::Missing: return {};
    case ValueType::String: return value.text();
    case ValueType::Boolean: return value.boolean() ? "1" : "0";
    case ValueType::Single: return TrimmedText(static_cast<float>(value.number()));
    case ValueType::Double: return TrimmedText(value.number());
    default: return TrimmedTextInteger(static_cast<long long>(value.number()));
    }
}

std::string NumberText(double value) {
    std::string t = TrimmedText(value);
    return (std::isnan(value) || value >= 0) ? " " + t : t;
}

std::string NumberText(const Value& value) {
    if (value.isString() || value.isMissing()) return TrimmedText(value);
    std::string t = TrimmedText(value);
    return value.number() >= 0 ? " " + t : t;
}

std::string FormatNumber(double value, std::string_view format) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
    if (format.empty() || EqualsNoCase(format, "General Number")) return TrimmedText(value);
    format = namedFormat(format);
    std::vector<std::string_view> sections = splitSections(format);
    std::string_view chosen = sections[0];
    bool withSign = true;
    if (value < 0 && sections.size() >= 2 && !sections[1].empty()) {
        chosen = sections[1];
        withSign = false;
    } else if (value == 0 && sections.size() >= 3 && !sections[2].empty()) {
        chosen = sections[2];
    }
    Section s = parseSection(chosen);
    bool nonZero = false;
    std::string out = formatSection(s, std::fabs(value), nonZero);
    if (withSign && value < 0 && nonZero) out.insert(0, "-");
    return out;
}

std::string FormatEng(double value, std::string_view format, std::string_view unit, bool engineering) {
    std::string plain = FormatNumber(value, format) + " " + std::string(unit);
    if (!engineering) return plain;
    struct Row {
        double low, high, scale;
        const char* prefix;
    };
    static const Row rows[] = {
        {1, 1e3, 1, " "},       {1e3, 1e6, 1e3, " k"},      {1e6, 1e9, 1e6, " M"},
        {1e9, 1e12, 1e9, " G"}, {1e-3, 1, 1e-3, " m"},      {1e-6, 1e-3, 1e-6, " µ"},
        {1e-9, 1e-6, 1e-9, " n"}, {1e-12, 1e-9, 1e-12, " p"}, {1e-15, 1e-12, 1e-15, " f"},
    };
    double a = std::fabs(value);
    // Zero keeps its old form: "0 " in front of the plain text.
    if (a == 0) return "0 " + plain;
    for (const Row& r : rows)
        if (a >= r.low && a < r.high) return FormatNumber(value / r.scale, format) + r.prefix + std::string(unit);
    return plain;
}

std::string FormatEng(std::string_view value, std::string_view format, std::string_view unit, bool engineering) {
    std::string t(value);
    for (char& c : t)
        if (c == ',') c = '.';
    return FormatEng(LeadingNumber(t), format, unit, engineering);
}

double ParseEng(std::string_view text, std::string& unitPrefix) {
    unitPrefix.clear();
    std::string t = TrimLineEnds(text);
    size_t i = 0;
    auto inNumber = [](char c) {
        return isDigit(c) || c == ',' || c == '.' || c == ' ' || c == '-' || c == '+' || c == 'E' || c == 'e';
    };
    while (i < t.size() && inNumber(t[i])) ++i;
    double factor = 1.0;
    if (i < t.size()) {
        std::string_view rest = std::string_view(t).substr(i);
        uint32_t cp = Utf8First(rest);
        switch (cp) {
        case 'k':
        case 'K': factor = 1e3, unitPrefix = "k"; break;
        case 'M': factor = 1e6, unitPrefix = "M"; break;
        case 'g':
        case 'G': factor = 1e9, unitPrefix = "G"; break;
        case 'm': factor = 1e-3, unitPrefix = "m"; break;
        case 0xB5:   // micro sign
        case 0x3BC:  // Greek small mu, which keyboards often give instead
        case 'u':
        case 'U': factor = 1e-6, unitPrefix = "µ"; break;
        case 'n':
        case 'N': factor = 1e-9, unitPrefix = "n"; break;
        case 'p': factor = 1e-12, unitPrefix = "p"; break;
        case 'f': factor = 1e-15, unitPrefix = "f"; break;
        default: break;
        }
    }
    // The number is what the walk passed over; "," counts as decimal point.
    std::string number = t.substr(0, i);
    for (char& c : number)
        if (c == ',') c = '.';
    if (!IsNumericText(number)) return 0.0;
    return NumericValue(number) * factor;
}

double ReadDecimal(std::string_view text) {
    std::string t(text);
    for (char& c : t)
        if (c == ',') c = '.';
    return LeadingNumber(t);
}

bool IsNumericText(std::string_view text) {
    if (isPlainNumeric(text)) return true;
    if (text.find_first_of("s%") == std::string_view::npos) return false;
    return isPlainNumeric(removeUnitMarks(text));
}

double NumericValue(std::string_view text) {
    if (isPlainNumeric(text)) return LeadingNumber(text);
    std::string rest = removeUnitMarks(text);
    return isPlainNumeric(rest) ? LeadingNumber(rest) : 0.0;
}

Value ConvertText(std::string_view text, ValueType type, const Value& def) {
    if (!IsNumericText(text)) return def;
    std::string clean = isPlainNumeric(text) ? std::string(text) : removeUnitMarks(text);
    double v = 0.0;
    if (!LeadingNumber(clean, v)) return def;
    double r = RoundHalfEven(v);
    switch (type) {
    case ValueType::Byte:
        if (r < 0 || r > 255) return def;
        return Value(static_cast<uint8_t>(r));
    case ValueType::Int16:
        if (r < -32768 || r > 32767) return def;
        return Value(static_cast<int16_t>(r));
    case ValueType::Int32:
        if (r < -2147483648.0 || r > 2147483647.0) return def;
        return Value(static_cast<int32_t>(r));
    case ValueType::Single:
        if (std::fabs(v) > std::numeric_limits<float>::max()) return def;
        return Value(static_cast<float>(v));
    case ValueType::Double: return Value(v);
    default: return def;
    }
}

}  // namespace qv::app
