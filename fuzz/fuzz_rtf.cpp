// Report sources reach the reader from the composer and, through saved
// files, from anywhere: any bytes must read without harm. Text the composer
// escapes must come back unchanged from what it wrote.
#include "documents/rtf_gen.h"
#include "documents/rtf_reader.h"

#include <cstdint>
#include <string>

using namespace qv::documents;

namespace {

void check(bool ok) {
    if (!ok) __builtin_trap();
}

class NullBox : public RichTextBox {
public:
    void setFontName(const std::string&) override {}
    void clearText() override { source.clear(); }
    void setRtf(const std::string& s) override { source = s; }
    const std::string& rtf() const override { return source; }
    void scrollToEnd() override {}
    std::string source;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 256 * 1024) return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);

    RtfDocument doc;
    ReadRtf(input, doc);
    check(!doc.paragraphs.empty());
    for (const RtfParagraph& p : doc.paragraphs)
        for (const RtfRun& r : p.runs) check(!r.text.empty() && r.halfPoints >= 1 && r.halfPoints <= 2000);

    // The composer only escapes the backslash: braces and line ends are
    // the caller's business, so they are left out of the round trip.
    std::string text;
    for (char c : input)
        if (c != '{' && c != '}' && c != '\r' && c != '\n') text += c;
    const bool flag = size > 0 && (data[0] & 1);
    NullBox box;
    std::string buf;
    RTFInit(box, buf, "Courier", 20);
    RTFAdd(box, buf, text, flag, flag, !flag, flag, size ? data[0] * 257 : 0, size % 4, -1, true);
    RtfDocument back;
    check(ReadRtf(box.rtf(), back));
    std::string got;
    for (const RtfRun& r : back.paragraphs.front().runs) got += r.text;
    check(got == text);
    check(back.paragraphs.size() == (flag ? 2u : 1u));
    return 0;
}
