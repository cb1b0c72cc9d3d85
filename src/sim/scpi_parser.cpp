#include "scpi_parser.h"

#include <cctype>
#include <charconv>
#include <cmath>

#include "scpi_errors.h"
#include "text.h"

namespace qv::sim {

namespace {
bool isAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isMnemonicChar(char c) { return isAlpha(c) || isDigit(c) || c == '_'; }
bool isHighByte(char c) { return static_cast<unsigned char>(c) >= 0x80; }
}  // namespace

bool isScpiWhitespace(char c) {
    // IEEE 488.2 white space: every control byte but LF, and space.
    auto u = static_cast<unsigned char>(c);
    return u <= 0x20 && u != '\n';
}

std::string ProgramHeader::text() const {
    std::string s;
    if (common) s = "*";
    for (size_t i = 0; i < nodes.size(); ++i) {
        if (i || absolute) s += common ? "" : ":";
        s += nodes[i];
    }
    if (query) s += '?';
    return s;
}

void MessageParser::skipWhitespace() {
    while (!atEnd() && isScpiWhitespace(msg_.text[pos_])) ++pos_;
}

bool MessageParser::parseMnemonic(std::string& out, int& error) {
    if (!isAlpha(peek())) {
        error = isMnemonicChar(peek()) || peek() == ':' || peek() == '?' ? err::kSyntax : err::kInvalidCharacter;
        return false;
    }
    size_t start = pos_;
    while (!atEnd() && isMnemonicChar(msg_.text[pos_])) ++pos_;
    if (pos_ - start > kMaxMnemonic) {
        error = err::kMnemonicTooLong;
        return false;
    }
    out.assign(msg_.text, start, pos_ - start);
    return true;
}

bool MessageParser::parseHeader(ProgramHeader& h, int& error) {
    if (peek() == '*') {
        ++pos_;
        h.common = true;
        std::string m;
        if (!parseMnemonic(m, error)) return false;
        h.nodes.push_back(std::move(m));
    } else {
        if (peek() == ':') {
            h.absolute = true;
            ++pos_;
        }
        for (;;) {
            std::string m;
            if (!parseMnemonic(m, error)) return false;
            h.nodes.push_back(std::move(m));
            if (h.nodes.size() > kMaxNodes) {
                error = err::kSyntax;
                return false;
            }
            if (peek() != ':') break;
            ++pos_;
        }
    }
    if (peek() == '?') {
        h.query = true;
        ++pos_;
    }
    return true;
}

bool MessageParser::parseString(Parameter& p, int& error) {
    char q = peek();
    ++pos_;
    p.type = Parameter::Type::String;
    for (;;) {
        if (atEnd()) {
            error = err::kInvalidStringData;
            return false;
        }
        char c = msg_.text[pos_++];
        if (c == q) {
            if (peek() == q) {
                p.text += q;
                ++pos_;
                continue;
            }
            return true;
        }
        p.text += c;
    }
}

bool MessageParser::parseBlock(Parameter& p, int& error) {
    // The splitter has found every well-formed block; a '#' it did not take
    // for one is a broken header.
    while (nextBlock_ < msg_.blocks.size() && msg_.blocks[nextBlock_].at < pos_) ++nextBlock_;
    if (nextBlock_ >= msg_.blocks.size() || msg_.blocks[nextBlock_].at != pos_) {
        error = err::kInvalidBlockData;
        return false;
    }
    const BlockSpan& b = msg_.blocks[nextBlock_++];
    if (!b.complete()) {
        error = err::kInvalidBlockData;
        return false;
    }
    p.type = Parameter::Type::Block;
    p.block.length = b.length;
    p.block.indefinite = b.indefinite;
    p.block.spillFailed = b.spillFailed;
    size_t dataAt = b.at + b.headerLength;
    if (b.spill) {
        p.block.spill = b.spill;
        pos_ = dataAt;
    } else if (b.spillFailed) {
        pos_ = dataAt;
    } else {
        if (dataAt > msg_.text.size() || msg_.text.size() - dataAt < b.length) {
            error = err::kInvalidBlockData;
            return false;
        }
        p.block.memory = std::string_view(msg_.text).substr(dataAt, size_t(b.length));
        pos_ = dataAt + size_t(b.length);
    }
    return true;
}

bool MessageParser::parseNonDecimal(Parameter& p, int& error) {
    char base = upper(peek(1));
    int radix = base == 'H' ? 16 : base == 'Q' ? 8 : 2;
    pos_ += 2;
    size_t start = pos_;
    while (!atEnd() && std::isalnum(static_cast<unsigned char>(msg_.text[pos_]))) ++pos_;
    std::string_view digits = std::string_view(msg_.text).substr(start, pos_ - start);
    uint64_t v = 0;
    if (digits.empty()) {
        error = err::kNumericData;
        return false;
    }
    auto r = std::from_chars(digits.data(), digits.data() + digits.size(), v, radix);
    if (r.ec == std::errc::result_out_of_range) {
        error = err::kTooManyDigits;
        return false;
    }
    if (r.ec != std::errc() || r.ptr != digits.data() + digits.size()) {
        error = err::kInvalidCharInNumber;
        return false;
    }
    p.type = Parameter::Type::NonDecimal;
    p.text.assign(msg_.text, start - 2, pos_ - start + 2);
    p.number = double(v);
    return true;
}

bool MessageParser::parseNumber(Parameter& p, int& error) {
    const std::string& t = msg_.text;
    size_t start = pos_;
    std::string literal;
    if (peek() == '+' || peek() == '-') literal += t[pos_++];
    size_t mantissaDigits = 0;
    while (isDigit(peek())) {
        literal += t[pos_++];
        ++mantissaDigits;
    }
    if (peek() == '.') {
        literal += t[pos_++];
        while (isDigit(peek())) {
            literal += t[pos_++];
            ++mantissaDigits;
        }
    }
    if (mantissaDigits == 0) {
        error = err::kNumericData;
        return false;
    }
    // Exponent: white space may stand before it and after the E.
    size_t save = pos_;
    skipWhitespace();
    if (upper(peek()) == 'E') {
        size_t afterE = pos_ + 1;
        size_t k = afterE;
        while (k < t.size() && isScpiWhitespace(t[k])) ++k;
        size_t signAt = k;
        if (k < t.size() && (t[k] == '+' || t[k] == '-')) ++k;
        if (k < t.size() && isDigit(t[k])) {
            literal += 'e';
            if (t[signAt] == '-' || t[signAt] == '+') literal += t[signAt];
            while (k < t.size() && isDigit(t[k])) literal += t[k++];
            pos_ = k;
        } else {
            pos_ = save;  // an 'E' that starts a suffix
        }
    } else {
        pos_ = save;
    }
    if (pos_ - start > kMaxNumberLength) {
        error = err::kTooManyDigits;
        return false;
    }
    double v = 0;
    const char* b = literal.data();
    if (*b == '+') ++b;
    auto r = std::from_chars(b, literal.data() + literal.size(), v);
    if (r.ec == std::errc::result_out_of_range) {
        // Overflow is an error; underflow is zero.
        bool negativeExponent = literal.find("e-") != std::string::npos;
        if (!negativeExponent) {
            error = err::kExponentTooLarge;
            return false;
        }
        v = 0;
    } else if (r.ec != std::errc() || r.ptr != literal.data() + literal.size() || !std::isfinite(v)) {
        error = err::kInvalidCharInNumber;
        return false;
    }
    p.type = Parameter::Type::Number;
    p.number = v;
    p.text.assign(t, start, pos_ - start);
    // Optional unit suffix after optional white space.
    save = pos_;
    skipWhitespace();
    if (isAlpha(peek())) {
        size_t us = pos_;
        // Bytes above 0x7F are taken too: units such as dBµV carry the
        // micro sign as one byte of the instrument's character set. The
        // handler judges the unit, so any other byte reads as a bad suffix
        // rather than a bad separator.
        while (!atEnd() && (isAlpha(t[pos_]) || t[pos_] == '/' || isDigit(t[pos_]) || isHighByte(t[pos_]))) ++pos_;
        if (pos_ - us > 12) {
            error = err::kInvalidSuffix;
            return false;
        }
        for (size_t k = us; k < pos_; ++k) p.unit += isHighByte(t[k]) ? t[k] : upper(t[k]);
    } else {
        pos_ = save;
    }
    return true;
}

bool MessageParser::parseExpression(Parameter& p, int& error) {
    size_t start = pos_;
    int depth = 0;
    while (!atEnd()) {
        char c = msg_.text[pos_];
        if (c == '\'' || c == '"') {
            Parameter ignored;
            if (!parseString(ignored, error)) return false;
            continue;
        }
        ++pos_;
        if (c == '(') ++depth;
        if (c == ')' && --depth == 0) break;
        if (pos_ - start > kMaxExpression) {
            error = err::kExpression;
            return false;
        }
    }
    if (depth != 0) {
        error = err::kExpression;
        return false;
    }
    p.type = Parameter::Type::Expression;
    p.text.assign(msg_.text, start, pos_ - start);
    return true;
}

bool MessageParser::parseParameter(Parameter& p, int& error) {
    char c = peek();
    if (c == '\'' || c == '"') return parseString(p, error);
    if (c == '#') {
        char n = peek(1);
        if (isDigit(n)) return parseBlock(p, error);
        char u = upper(n);
        if (u == 'H' || u == 'Q' || u == 'B') return parseNonDecimal(p, error);
        error = err::kInvalidBlockData;
        return false;
    }
    if (c == '(') return parseExpression(p, error);
    if (isDigit(c) || c == '+' || c == '-' || c == '.') return parseNumber(p, error);
    if (isAlpha(c)) {
        size_t start = pos_;
        while (!atEnd() && isMnemonicChar(msg_.text[pos_])) ++pos_;
        if (pos_ - start > kMaxCharacterData) {
            error = err::kCharacterDataTooLong;
            return false;
        }
        p.type = Parameter::Type::Character;
        p.text.assign(msg_.text, start, pos_ - start);
        return true;
    }
    error = (c == ',' || c == ';' || c == '\0') ? err::kSyntax : err::kInvalidCharacter;
    return false;
}

MessageParser::Result MessageParser::next(ProgramUnit& unit, int& error) {
    unit = ProgramUnit{};
    error = 0;
    if (done_) return Result::End;
    skipWhitespace();
    // Empty units (";;" or a trailing ';') are tolerated.
    while (peek() == ';') {
        ++pos_;
        skipWhitespace();
    }
    if (atEnd()) {
        done_ = true;
        return Result::End;
    }
    auto fail = [&](int code) {
        error = code;
        done_ = true;
        return Result::Error;
    };
    if (!parseHeader(unit.header, error)) return fail(error);
    if (atEnd()) return Result::Unit;
    char c = peek();
    if (c == ';') {
        ++pos_;
        return Result::Unit;
    }
    if (!isScpiWhitespace(c)) return fail(c == ',' || c == ':' || c == '?' ? err::kSyntax : err::kInvalidCharacter);
    skipWhitespace();
    if (atEnd()) return Result::Unit;
    if (peek() == ';') {
        ++pos_;
        return Result::Unit;
    }
    for (;;) {
        if (unit.params.size() >= kMaxParams) return fail(err::kTooMuchData);
        Parameter p;
        if (!parseParameter(p, error)) return fail(error);
        unit.params.push_back(std::move(p));
        skipWhitespace();
        if (atEnd()) return Result::Unit;
        c = peek();
        if (c == ';') {
            ++pos_;
            return Result::Unit;
        }
        if (c != ',') return fail(err::kInvalidSeparator);
        ++pos_;
        skipWhitespace();
        if (atEnd() || peek() == ';' || peek() == ',') return fail(err::kSyntax);
    }
}

}  // namespace qv::sim
