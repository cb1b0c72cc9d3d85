#include "documents/rtf_gen.h"

namespace qv::documents {

namespace {

// The one size of all reports: the last RTFInit or RTFFlush sets it.
int16_t gSize = 24;

// Only these caller colours have a table entry; three of them stand for a
// table colour that differs from their own bits.
int colorIndex(int32_t color) {
    switch (color) {
        case 0:
            return 1;
        case 255:
            return 2;
        case 65280:
            return 3;
        case 16711680:
            return 4;
        case 12632256:
            return 5;
        case 49152:
            return 6;
        case 33023:
            return 7;
        case 16777215:
            return 8;
        default:
            return 0;
    }
}

}  // namespace

const char* const kColorTable =
    "{\\colortbl "
    ";\\red0\\green0\\blue0;\\red255\\green0\\blue0;\\red0\\green255\\blue0;"
    "\\red0\\green0\\blue255;"
    "\\red127\\green127\\blue127;\\red0\\green127\\blue0;"
    "\\red255\\green128\\blue0;\\red255\\green255\\blue255;}";

std::string RunTags(bool bold, bool italic, bool underline, int32_t foreColor, int align, int32_t backColor) {
    std::string tags;
    if (bold) tags += "\\b";
    if (italic) tags += "\\i";
    if (underline) tags += "\\ul";
    const int fore = colorIndex(foreColor);
    tags += "\\cf" + std::to_string(fore == 0 ? 1 : fore);
    if (const int back = colorIndex(backColor); back != 0) tags += "\\highlight" + std::to_string(back);
    switch (align) {
        case 0:
            tags += "\\ql";
            break;
        case 1:
            tags += "\\qr";
            break;
        case 2:
            tags += "\\qc";
            break;
        default:
            break;
    }
    return tags;
}

void RTFInit(RichTextBox& box, std::string& buf, const std::string& fontName, int16_t size) {
    gSize = size;
    buf = kColorTable;
    box.setFontName(fontName);
    box.clearText();
    box.setRtf(buf);
}

void RTFAdd(RichTextBox& box, std::string& buf, const std::string& text, bool newLine, bool bold, bool italic,
            bool underline, int32_t foreColor, int align, int32_t backColor, bool flush) {
    std::string body;
    body.reserve(text.size() + 8);
    // Only the backslash is escaped; braces in a text are the caller's.
    for (char c : text) {
        body += c;
        if (c == '\\') body += '\\';
    }
    if (newLine) body += "\\par";
    buf += "{" + RunTags(bold, italic, underline, foreColor, align, backColor) + " " + body + "}";
    if (flush) RTFFlush(box, buf, gSize);
}

void RTFFlush(RichTextBox& box, std::string& buf, int16_t size) {
    gSize = size;
    box.setRtf("{\\plain\\fs" + std::to_string(size) + buf + "}");
    box.scrollToEnd();
}

}  // namespace qv::documents
