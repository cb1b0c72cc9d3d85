#include "documents/rtf_reader.h"

#include <optional>

namespace qv::documents {

namespace {

// Deeper than any report goes; a source nested further is not ours.
constexpr int kMaxDepth = 64;
// A size nobody reports in, yet small enough for any text layout.
constexpr int kMaxHalfPoints = 2000;
constexpr int kDefaultHalfPoints = 24;

// What a group carries and restores on "}".
struct State {
    bool bold = false, italic = false, underline = false;
    int halfPoints = kDefaultHalfPoints;
    int color = 0;  // colour table index; 0 and unknown: none
    int highlight = 0;
    // Inside a destination whose text is no document text (colour table,
    // font table, "\*" groups).
    bool hidden = false;
    bool colorTable = false;
};

struct ControlWord {
    std::string_view name;
    bool hasParam = false;
    long param = 0;
};

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void appendUtf8(std::string& out, unsigned cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

class Reader {
public:
    Reader(std::string_view src, RtfDocument& doc) : src_(src), doc_(doc) {
        doc_.paragraphs.assign(1, RtfParagraph{});
        table_.emplace_back();  // index 0 is "automatic" until a table says so
    }

    bool run() {
        while (pos_ < src_.size()) {
            const char c = src_[pos_++];
            switch (c) {
                case '{':
                    open();
                    break;
                case '}':
                    close();
                    break;
                case '\\':
                    escape();
                    break;
                case '\r':
                case '\n':
                    // Line ends in the source are layout of the source only.
                    break;
                default:
                    character(c);
                    break;
            }
        }
        return ok_ && depth_ == 0;
    }

private:
    void open() {
        if (depth_ >= kMaxDepth) {
            // Keep reading with the innermost state; the closing braces of
            // these groups only count down.
            ok_ = false;
            ++overflow_;
            ++depth_;
            return;
        }
        stack_[depth_++] = state_;
        groupStart_ = true;
    }

    void close() {
        if (depth_ == 0) {
            ok_ = false;
            return;
        }
        --depth_;
        if (overflow_ > 0) {
            --overflow_;
            return;
        }
        if (state_.colorTable) endColorEntry();  // a table whose last entry lacks its ";"
        state_ = stack_[depth_];
    }

    void escape() {
        if (pos_ >= src_.size()) {
            ok_ = false;  // a lone backslash at the end
            return;
        }
        const char c = src_[pos_];
        if (isLetter(c)) {
            controlWord(readWord());
            return;
        }
        ++pos_;
        switch (c) {
            case '\\':
            case '{':
            case '}':
                character(c);
                break;
            case '\'': {
                const int hi = pos_ < src_.size() ? hexValue(src_[pos_]) : -1;
                const int lo = pos_ + 1 < src_.size() ? hexValue(src_[pos_ + 1]) : -1;
                if (hi < 0 || lo < 0) {
                    ok_ = false;
                    break;
                }
                pos_ += 2;
                character(static_cast<char>(hi * 16 + lo));
                break;
            }
            case '*':
                state_.hidden = true;
                break;
            case '~':
                character(' ');
                break;
            case '\n':
            case '\r':
                // A backslash ending a source line is an old way of writing \par.
                controlWord({"par", false, 0});
                break;
            default:
                break;  // other control symbols show nothing
        }
        groupStart_ = false;
    }

    ControlWord readWord() {
        ControlWord w;
        const size_t start = pos_;
        while (pos_ < src_.size() && isLetter(src_[pos_])) ++pos_;
        w.name = src_.substr(start, pos_ - start);
        bool negative = false;
        if (pos_ + 1 < src_.size() && src_[pos_] == '-' && isDigit(src_[pos_ + 1])) {
            negative = true;
            ++pos_;
        }
        while (pos_ < src_.size() && isDigit(src_[pos_])) {
            w.hasParam = true;
            // Saturate: a parameter of many digits is consumed, not trusted.
            if (w.param < 100000000) w.param = w.param * 10 + (src_[pos_] - '0');
            ++pos_;
        }
        if (negative) w.param = -w.param;
        if (pos_ < src_.size() && src_[pos_] == ' ') ++pos_;  // the delimiting blank belongs to the word
        return w;
    }

    void controlWord(const ControlWord& w) {
        const bool first = groupStart_;
        groupStart_ = false;
        const std::string_view n = w.name;
        const bool on = !w.hasParam || w.param != 0;
        if (n == "colortbl") {
            state_.hidden = true;
            state_.colorTable = true;
            // A second table replaces the first.
            table_.clear();
            entry_ = {};
            entrySet_ = false;
        } else if (first && (n == "fonttbl" || n == "stylesheet" || n == "info")) {
            state_.hidden = true;
        } else if (state_.colorTable && (n == "red" || n == "green" || n == "blue")) {
            const auto v = static_cast<uint8_t>(w.param < 0 ? 0 : w.param > 255 ? 255 : w.param);
            (n == "red" ? entry_.r : n == "green" ? entry_.g : entry_.b) = v;
            entrySet_ = true;
        } else if (n == "plain") {
            const State old = state_;
            state_ = State{};
            state_.hidden = old.hidden;
            state_.colorTable = old.colorTable;
        } else if (n == "fs") {
            long hp = w.hasParam ? w.param : kDefaultHalfPoints;
            state_.halfPoints = hp <= 0 ? kDefaultHalfPoints : hp > kMaxHalfPoints ? kMaxHalfPoints : int(hp);
        } else if (n == "b") {
            state_.bold = on;
        } else if (n == "i") {
            state_.italic = on;
        } else if (n == "ul") {
            state_.underline = on;
        } else if (n == "ulnone") {
            state_.underline = false;
        } else if (n == "cf") {
            state_.color = w.hasParam ? int(w.param) : 0;
        } else if (n == "highlight") {
            state_.highlight = w.hasParam ? int(w.param) : 0;
        } else if (n == "ql" || n == "qr" || n == "qc") {
            if (!state_.hidden)
                doc_.paragraphs.back().align = n == "ql"   ? RtfAlign::Left
                                               : n == "qr" ? RtfAlign::Right
                                                           : RtfAlign::Center;
        } else if (n == "pard") {
            if (!state_.hidden) doc_.paragraphs.back().align = RtfAlign::Left;
        } else if (n == "par") {
            if (!state_.hidden) doc_.paragraphs.emplace_back();
        } else if (n == "tab") {
            character('\t');
        } else if (n == "u" && w.hasParam) {
            // A Unicode character (negative for the upper half of 16 bits),
            // followed by one stand-in character for readers without it.
            const unsigned cp = static_cast<unsigned>(w.param < 0 ? w.param + 65536 : w.param) & 0xFFFF;
            if (cp >= 0xD800 && cp < 0xDC00) {
                highSurrogate_ = cp;  // the low half follows as its own word
            } else if (!state_.hidden) {
                unsigned full = cp;
                if (cp >= 0xDC00 && cp < 0xE000)
                    full = highSurrogate_ ? 0x10000 + ((highSurrogate_ - 0xD800) << 10) + (cp - 0xDC00) : 0xFFFD;
                appendText(std::string_view{}, full);
            }
            if (cp < 0xD800 || cp >= 0xDC00) highSurrogate_ = 0;
            skipStandIn();
        }
        // Any other word is one this reader does not need.
    }

    void skipStandIn() {
        if (pos_ >= src_.size() || src_[pos_] == '{' || src_[pos_] == '}') return;
        if (src_[pos_] == '\\') {
            if (pos_ + 3 < src_.size() && src_[pos_ + 1] == '\'') pos_ += 4;
            return;
        }
        ++pos_;
    }

    void endColorEntry() {
        if (entrySet_)
            table_.push_back(entry_);
        else
            table_.emplace_back();
        entry_ = {};
        entrySet_ = false;
    }

    void character(char c) {
        groupStart_ = false;
        if (state_.colorTable) {
            if (c == ';') endColorEntry();
            return;
        }
        if (state_.hidden) return;
        appendText(std::string_view(&c, 1), 0);
    }

    std::optional<RtfColor> color(int index) const {
        if (index <= 0 || static_cast<size_t>(index) >= table_.size()) return std::nullopt;
        return table_[static_cast<size_t>(index)];
    }

    // Adds bytes, or a code point when bytes is empty, to the paragraph's
    // last run when that run has the current attributes, else to a new run.
    void appendText(std::string_view bytes, unsigned cp) {
        RtfRun want;
        want.bold = state_.bold;
        want.italic = state_.italic;
        want.underline = state_.underline;
        want.halfPoints = state_.halfPoints;
        if (auto fg = color(state_.color)) {
            want.hasColor = true;
            want.color = *fg;
        }
        if (auto bg = color(state_.highlight)) {
            want.hasBackground = true;
            want.background = *bg;
        }
        auto& runs = doc_.paragraphs.back().runs;
        if (runs.empty() || !sameLook(runs.back(), want)) runs.push_back(std::move(want));
        if (bytes.empty())
            appendUtf8(runs.back().text, cp);
        else
            runs.back().text.append(bytes);
    }

    static bool sameColor(bool has1, RtfColor a, bool has2, RtfColor b) {
        return has1 == has2 && (!has1 || (a.r == b.r && a.g == b.g && a.b == b.b));
    }

    static bool sameLook(const RtfRun& a, const RtfRun& b) {
        return a.bold == b.bold && a.italic == b.italic && a.underline == b.underline && a.halfPoints == b.halfPoints &&
               sameColor(a.hasColor, a.color, b.hasColor, b.color) &&
               sameColor(a.hasBackground, a.background, b.hasBackground, b.background);
    }

    std::string_view src_;
    RtfDocument& doc_;
    size_t pos_ = 0;
    State state_;
    State stack_[kMaxDepth];
    int depth_ = 0;
    int overflow_ = 0;
    bool groupStart_ = false;
    bool ok_ = true;
    // Colour table entries; an empty one stands for "automatic".
    std::vector<std::optional<RtfColor>> table_;
    RtfColor entry_;
    bool entrySet_ = false;
    unsigned highSurrogate_ = 0;
};

}  // namespace

bool ReadRtf(std::string_view source, RtfDocument& doc) {
    Reader reader(source, doc);
    return reader.run();
}

}  // namespace qv::documents
