// The report composer: runs of text with their attributes added to a
// caller's buffer as RTF source, shown in a rich text box on a flush.
#pragma once

#include <cstdint>
#include <string>

namespace qv::documents {

// The control a report is shown in; the window layer implements it.
class RichTextBox {
public:
    virtual ~RichTextBox() = default;
    virtual void setFontName(const std::string& name) = 0;
    virtual void clearText() = 0;
    // Replaces the shown document by what this RTF source says.
    virtual void setRtf(const std::string& source) = 0;
    virtual const std::string& rtf() const = 0;
    // The view follows the end of the text.
    virtual void scrollToEnd() = 0;
};

// The colour table every buffer starts with.
extern const char* const kColorTable;

// Colours as callers give them: blue, green, red from the high byte to the
// low (255 is red). -1: no background.
void RTFInit(RichTextBox& box, std::string& buf, const std::string& fontName, int16_t size);
void RTFAdd(RichTextBox& box, std::string& buf, const std::string& text, bool newLine, bool bold, bool italic,
            bool underline, int32_t foreColor, int align, int32_t backColor, bool flush);
void RTFFlush(RichTextBox& box, std::string& buf, int16_t size);

// The tags of one run, as RTFAdd writes them ("\b\cf2\highlight1\qc").
std::string RunTags(bool bold, bool italic, bool underline, int32_t foreColor, int align, int32_t backColor);

}  // namespace qv::documents
