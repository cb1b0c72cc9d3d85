// Small picture files built byte by byte, the way an instrument writes them:
// a metafile that fills rectangles (and may write a line of text), and a
// run-length coded 24-bit PCX. They are made here, independent of the
// program's own writers, so a reader is checked against the file layout and
// not against our own idea of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvtest {

struct SampleRect {
    int left, top, right, bottom;  // right and bottom exclusive, in pixels
    uint32_t rgb;                  // 0xRRGGBB
};

class Bytes {
public:
    std::vector<uint8_t> data;
    void u8(unsigned v) { data.push_back(static_cast<uint8_t>(v)); }
    void u16(unsigned v) {
        u8(v & 0xFF);
        u8((v >> 8) & 0xFF);
    }
    void i16(int v) { u16(static_cast<unsigned>(static_cast<uint16_t>(static_cast<int16_t>(v)))); }
    void u32(uint32_t v) {
        u16(v & 0xFFFF);
        u16(v >> 16);
    }
    void i32(int v) { u32(static_cast<uint32_t>(v)); }
    void put16(size_t at, unsigned v) {
        data[at] = static_cast<uint8_t>(v & 0xFF);
        data[at + 1] = static_cast<uint8_t>((v >> 8) & 0xFF);
    }
    void put32(size_t at, uint32_t v) {
        put16(at, v & 0xFFFF);
        put16(at + 2, v >> 16);
    }
    std::string str() const { return std::string(data.begin(), data.end()); }
};

// COLORREF: red in the low byte.
inline uint32_t colorRef(uint32_t rgb) {
    return ((rgb >> 16) & 0xFF) | (rgb & 0xFF00) | ((rgb & 0xFF) << 16);
}

// A placeable WMF of width x height pixels (96 units an inch) that paints
// the rectangles in order, without outline, then the bitmaps (a one-pixel
// DIB stretched over each rectangle), and writes text (when given) in black
// Arial at x=8, y=8 with the given cell height.
inline std::string makeWmf(int width, int height, const std::vector<SampleRect>& rects,
                           const std::string& text = {}, int textHeight = 24,
                           const std::vector<SampleRect>& bitmaps = {}) {
    Bytes records;
    int objects = 0;
    uint32_t maxRecord = 0;
    auto record = [&](unsigned function, const std::vector<int>& words, const std::string& raw = {}) {
        uint32_t size = 3 + static_cast<uint32_t>(words.size()) + static_cast<uint32_t>((raw.size() + 1) / 2);
        maxRecord = std::max(maxRecord, size);
        records.u32(size);
        records.u16(function);
        for (int w : words) records.i16(w);
        for (char c : raw) records.u8(static_cast<uint8_t>(c));
        if (raw.size() % 2) records.u8(0);
    };
    auto lo = [](uint32_t v) { return static_cast<int>(static_cast<int16_t>(v & 0xFFFF)); };
    auto hi = [](uint32_t v) { return static_cast<int>(static_cast<int16_t>(v >> 16)); };
    record(0x020B, {0, 0});                   // SETWINDOWORG y, x
    record(0x020C, {height, width});          // SETWINDOWEXT y, x
    record(0x02FA, {5, 0, 0, 0, 0});          // CREATEPENINDIRECT: PS_NULL -> object 0
    record(0x012D, {0});                      // SELECTOBJECT
    objects = 1;
    for (const SampleRect& r : rects) {
        uint32_t c = colorRef(r.rgb);
        record(0x02FC, {0, lo(c), hi(c), 0});  // CREATEBRUSHINDIRECT solid -> object 1
        record(0x012D, {1});
        // A null pen leaves the right and bottom edge out, as GDI does: the
        // rectangle covers [left, right) x [top, bottom).
        record(0x041B, {r.bottom + 1, r.right + 1, r.top, r.left});  // RECTANGLE b, r, t, l
        record(0x01F0, {1});                                          // DELETEOBJECT
        objects = 2;
    }
    for (const SampleRect& r : bitmaps) {
        Bytes dib;
        for (int w : {40, 0, 1, 0, 1, 0, 1, 24, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0}) dib.u16(static_cast<unsigned>(w));
        dib.u8(r.rgb & 0xFF);
        dib.u8((r.rgb >> 8) & 0xFF);
        dib.u8((r.rgb >> 16) & 0xFF);
        dib.u8(0);
        Bytes words;  // SRCCOPY, DIB_RGB_COLORS, source 1x1 at 0,0, destination
        for (int w : {0x0020, 0x00CC, 0, 1, 1, 0, 0, r.bottom - r.top, r.right - r.left, r.top, r.left}) words.i16(w);
        record(0x0F43, {}, words.str() + dib.str());  // STRETCHDIB
    }
    if (!text.empty()) {
        std::string face = "Arial";
        face.resize(32, '\0');
        Bytes f;  // height, width, escapement, orientation, weight; eight flag bytes; face
        for (int w : std::vector<int>{-textHeight, 0, 0, 0, 400}) f.i16(w);
        for (int b = 0; b < 8; ++b) f.u8(0);
        for (char c : face) f.u8(static_cast<uint8_t>(c));
        record(0x02FB, {}, f.str());   // CREATEFONTINDIRECT -> object 1
        record(0x012D, {1});
        record(0x0209, {0, 0});        // SETTEXTCOLOR black
        record(0x0102, {1});           // SETBKMODE transparent
        record(0x012E, {0});           // SETTEXTALIGN top left
        Bytes t;
        t.u16(static_cast<unsigned>(text.size()));
        for (char c : text) t.u8(static_cast<uint8_t>(c));
        if (text.size() % 2) t.u8(0);
        t.i16(8);  // y
        t.i16(8);  // x
        record(0x0521, {}, t.str());   // TEXTOUT
        objects = 2;
    }
    record(0x0000, {});                // EOF

    Bytes out;
    out.u32(0x9AC6CDD7);
    out.u16(0);
    out.i16(0);
    out.i16(0);
    out.i16(width);
    out.i16(height);
    out.u16(96);
    out.u32(0);
    unsigned sum = 0;
    for (size_t i = 0; i < 20; i += 2) sum ^= out.data[i] | (out.data[i + 1] << 8);
    out.u16(sum);
    out.u16(1);       // in memory
    out.u16(9);       // header words
    out.u16(0x0300);
    out.u32(static_cast<uint32_t>(9 + records.data.size() / 2));
    out.u16(static_cast<unsigned>(objects));
    out.u32(maxRecord);
    out.u16(0);
    out.data.insert(out.data.end(), records.data.begin(), records.data.end());
    return out.str();
}

// An EMF of width x height device pixels (a 96 dpi reference device) that
// fills the rectangles in order without outline.
inline std::string makeEmf(int width, int height, const std::vector<SampleRect>& rects) {
    Bytes b;
    int records = 0;
    auto begin = [&](uint32_t type) {
        ++records;
        b.u32(type);
        size_t at = b.data.size();
        b.u32(0);
        return at;
    };
    auto end = [&](size_t at) { b.put32(at, static_cast<uint32_t>(b.data.size() - at + 4)); };

    size_t h = begin(1);  // EMR_HEADER
    b.i32(0); b.i32(0); b.i32(width - 1); b.i32(height - 1);  // bounds, inclusive
    const int mmW = width * 254 / 96 / 10, mmH = height * 254 / 96 / 10;
    b.i32(0); b.i32(0); b.i32(width * 2540 / 96 - 1); b.i32(height * 2540 / 96 - 1);  // frame, 0.01 mm
    b.u32(0x464D4520);
    b.u32(0x10000);
    size_t totalAt = b.data.size();
    b.u32(0);   // bytes
    size_t countAt = b.data.size();
    b.u32(0);   // records
    b.u16(3);   // handles
    b.u16(0);
    b.u32(0); b.u32(0); b.u32(0);              // description, palette
    b.i32(width); b.i32(height);               // reference device, pixels
    b.i32(mmW); b.i32(mmH);                    // and millimetres
    end(h);

    size_t r = begin(38);  // EMR_CREATEPEN: handle 1, PS_NULL
    b.u32(1); b.u32(5); b.i32(0); b.i32(0); b.u32(0);
    end(r);
    r = begin(37); b.u32(1); end(r);           // SELECTOBJECT
    for (const SampleRect& s : rects) {
        r = begin(39);                         // CREATEBRUSHINDIRECT handle 2
        b.u32(2); b.u32(0); b.u32(colorRef(s.rgb)); b.u32(0);
        end(r);
        r = begin(37); b.u32(2); end(r);
        r = begin(43);                         // RECTANGLE, exclusive with a null pen
        b.i32(s.left); b.i32(s.top); b.i32(s.right + 1); b.i32(s.bottom + 1);
        end(r);
        r = begin(37); b.u32(0x80000000u | 0); end(r);  // stock white brush back in
        r = begin(40); b.u32(2); end(r);       // DELETEOBJECT
    }
    r = begin(14);                             // EOF
    b.u32(0); b.u32(16); b.u32(20);
    end(r);
    b.put32(totalAt, static_cast<uint32_t>(b.data.size()));
    b.put32(countAt, static_cast<uint32_t>(records));
    return b.str();
}

// A 24-bit, run-length coded PCX (three colour planes a line).
inline std::string makePcx(int width, int height, const std::vector<SampleRect>& rects) {
    auto colourAt = [&](int x, int y) {
        uint32_t c = 0xFFFFFF;
        for (const SampleRect& r : rects)
            if (x >= r.left && x < r.right && y >= r.top && y < r.bottom) c = r.rgb;
        return c;
    };
    Bytes b;
    b.u8(0x0A); b.u8(5); b.u8(1); b.u8(8);
    b.u16(0); b.u16(0); b.u16(width - 1); b.u16(height - 1);
    b.u16(96); b.u16(96);
    for (int i = 0; i < 48; ++i) b.u8(0);
    b.u8(0); b.u8(3);
    const int perLine = width + (width % 2);
    b.u16(perLine); b.u16(1); b.u16(0); b.u16(0);
    while (b.data.size() < 128) b.u8(0);
    for (int y = 0; y < height; ++y) {
        for (int plane = 0; plane < 3; ++plane) {
            std::vector<uint8_t> line(perLine, 0);
            for (int x = 0; x < width; ++x) line[x] = (colourAt(x, y) >> (16 - 8 * plane)) & 0xFF;
            for (size_t i = 0; i < line.size();) {
                size_t n = 1;
                while (i + n < line.size() && n < 63 && line[i + n] == line[i]) ++n;
                if (n > 1 || line[i] >= 0xC0) b.u8(0xC0 | static_cast<unsigned>(n));
                b.u8(line[i]);
                i += n;
            }
        }
    }
    return b.str();
}

}  // namespace qvtest
