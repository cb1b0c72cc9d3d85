// Parses one program message into program message units: header (common
// or compound, query or not) and parameters of the IEEE 488.2 types. The
// parser never trusts its input: every read is bounds-checked, lengths are
// capped, and a malformed unit ends parsing with a SCPI error code.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "message_splitter.h"

namespace qv::sim {

struct ProgramHeader {
    bool common = false;    // "*IDN"
    bool absolute = false;  // leading ':'
    bool query = false;
    std::vector<std::string> nodes;  // mnemonics as received (numeric suffix included)
    std::string text() const;        // for messages and fault matching
};

struct BlockData {
    std::string_view memory;           // payload when kept in memory
    std::shared_ptr<SpillFile> spill;  // payload when spooled to a file
    uint64_t length = 0;
    bool spillFailed = false;
    bool indefinite = false;
};

struct Parameter {
    enum class Type { Number, NonDecimal, Character, String, Block, Expression };
    Type type = Type::Character;
    std::string text;  // Character: the word; String: the content; Number: the literal
    double number = 0;
    std::string unit;  // suffix of a number ("MHZ"), upper case
    BlockData block;
};

struct ProgramUnit {
    ProgramHeader header;
    std::vector<Parameter> params;
};

class MessageParser {
public:
    explicit MessageParser(const ProgramMessage& msg) : msg_(msg) {}
    enum class Result { Unit, End, Error };
    // The next unit. Error: `error` holds the SCPI code; parsing is over.
    Result next(ProgramUnit& unit, int& error);

    static constexpr size_t kMaxMnemonic = 24;
    static constexpr size_t kMaxNodes = 16;
    // Lists of values (correction tables) come as one parameter each; more
    // than this is refused as too much data before anything is kept.
    static constexpr size_t kMaxParams = 20000;
    static constexpr size_t kMaxCharacterData = 32;
    static constexpr size_t kMaxNumberLength = 255;
    static constexpr size_t kMaxExpression = 4096;

private:
    bool atEnd() const { return pos_ >= msg_.text.size(); }
    char peek(size_t ahead = 0) const {
        return pos_ + ahead < msg_.text.size() ? msg_.text[pos_ + ahead] : '\0';
    }
    void skipWhitespace();
    bool parseHeader(ProgramHeader& h, int& error);
    bool parseMnemonic(std::string& out, int& error);
    bool parseParameter(Parameter& p, int& error);
    bool parseNumber(Parameter& p, int& error);
    bool parseNonDecimal(Parameter& p, int& error);
    bool parseString(Parameter& p, int& error);
    bool parseBlock(Parameter& p, int& error);
    bool parseExpression(Parameter& p, int& error);

    const ProgramMessage& msg_;
    size_t pos_ = 0;
    size_t nextBlock_ = 0;
    bool done_ = false;
};

bool isScpiWhitespace(char c);

}  // namespace qv::sim
