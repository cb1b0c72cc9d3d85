#include "imaging/metafile.h"

#include <algorithm>
#include <cstring>

#include "imaging/bytes.h"

namespace qv::imaging {

namespace {

using namespace bytes;

constexpr int kFontWeightBold = 700;
// A fixed-pitch face at a height of 10 dots per scale step advances six
// dots per character, as the built-in raster font does.
constexpr char kFontFace[] = "Courier";
constexpr uint32_t kSrcCopy = 0x00CC0020;

int clampSide(int v) { return std::clamp(v, 1, kMaxSide); }
int16_t clamp16(int v) { return int16_t(std::clamp(v, -32768, 32767)); }

// 24-bit bottom-up DIB: BITMAPINFOHEADER followed by the rows.
void dibOf(const Raster& r, std::vector<uint8_t>& header, std::vector<uint8_t>& bits) {
    const uint32_t stride = (uint32_t(r.width) * 3 + 3) & ~3u;
    bits.assign(size_t(stride) * size_t(r.height), 0);
    for (int y = 0; y < r.height; ++y) {
        uint8_t* d = &bits[size_t(r.height - 1 - y) * stride];
        const uint8_t* s = &r.rgb[size_t(y) * size_t(r.width) * 3];
        for (int x = 0; x < r.width; ++x, s += 3, d += 3) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
        }
    }
    header.clear();
    bitmapInfoHeader(header, r.width, r.height, 24, uint32_t(bits.size()), 0);
}

}  // namespace

// ---------------------------------------------------------------------------
// Shared by both formats

MetafileWriter::MetafileWriter(int width, int height, uint32_t firstSlot)
    : width_(clampSide(width)), height_(clampSide(height)), taken_(firstSlot, true) {}

void MetafileWriter::use(const DrawingObject& o) {
    const int k = o.kind;
    if (selected_[k] && object_[k] == o) return;
    auto free = std::find(taken_.begin(), taken_.end(), false);
    const uint32_t slot = uint32_t(free - taken_.begin());
    if (free == taken_.end()) taken_.push_back(true);
    else *free = true;
    createObject(o, slot);
    selectObject(slot);
    if (selected_[k]) {
        deleteObject(slot_[k]);
        taken_[slot_[k]] = false;
    }
    selected_[k] = true;
    slot_[k] = slot;
    object_[k] = o;
}

bool MetafileWriter::textColorChanges(Color c) {
    if (textColorSet_ && textColor_ == c) return false;
    textColor_ = c;
    textColorSet_ = true;
    return true;
}

void MetafileWriter::background(Color c) {
    const DrawingObject pen = object_[kPen], brush = object_[kBrush];
    const bool hadPen = selected_[kPen], hadBrush = selected_[kBrush];
    use({kPen, c, 0});
    use({kBrush, c, 0});
    // A rectangle without outline loses its right and bottom line.
    rectangle(0, 0, width_ + 1, height_ + 1);
    if (hadPen) use(pen);
    if (hadBrush) use(brush);
}

void MetafileWriter::setPen(Color c, int width) { use({kPen, c, std::clamp(width, 0, 64)}); }
void MetafileWriter::setBrush(Color c) { use({kBrush, c, 0}); }
void MetafileWriter::setHollowBrush() { use({kBrush, {}, 1}); }

// ---------------------------------------------------------------------------
// WMF

WmfWriter::WmfWriter(int width, int height) : MetafileWriter(width, height, 0) {
    std::vector<uint8_t> p;
    i16(p, 0);
    i16(p, 0);
    record(wmf::kSetWindowOrg, p);  // y, x
    p.clear();
    i16(p, height_);
    i16(p, width_);
    record(wmf::kSetWindowExt, p);
    p.clear();
    u16(p, 1);  // TRANSPARENT: text leaves what is under it
    u16(p, 0);
    record(wmf::kSetBkMode, p);
    p.clear();
    u16(p, 0);  // TA_TOP | TA_LEFT, no current position
    u16(p, 0);
    record(wmf::kSetTextAlign, p);
}

void WmfWriter::record(uint16_t function, const std::vector<uint8_t>& params) {
    // Parameters are whole words; callers pad.
    uint32_t words = uint32_t(3 + (params.size() + 1) / 2);
    u32(body_, words);
    u16(body_, function);
    body_.insert(body_.end(), params.begin(), params.end());
    if (params.size() % 2) body_.push_back(0);
    maxRecordWords_ = std::max(maxRecordWords_, words);
}

void WmfWriter::createObject(const DrawingObject& o, uint32_t) {
    std::vector<uint8_t> p;
    if (o.kind == kPen) {
        u16(p, o.width == 0 ? 5 : 0);  // PS_NULL or PS_SOLID
        i16(p, o.width);
        i16(p, 0);
        u32(p, colorRef(o.c.r, o.c.g, o.c.b));
        record(wmf::kCreatePen, p);
    } else if (o.kind == kBrush) {
        u16(p, o.width == 1 ? 1 : 0);  // BS_NULL or BS_SOLID
        u32(p, colorRef(o.c.r, o.c.g, o.c.b));
        u16(p, 0);
        record(wmf::kCreateBrush, p);
    } else {
        i16(p, -10 * o.width);  // character height, not cell height
        i16(p, 0);
        i16(p, 0);
        i16(p, 0);
        i16(p, kFontWeightBold);
        p.insert(p.end(), {0, 0, 0, 0, 0, 0, 0, 0x31});  // ANSI charset, FF_MODERN | FIXED_PITCH
        for (const char* c = kFontFace; *c; ++c) p.push_back(uint8_t(*c));
        p.push_back(0);
        record(wmf::kCreateFont, p);
    }
}

void WmfWriter::selectObject(uint32_t slot) {
    std::vector<uint8_t> p;
    u16(p, unsigned(slot));
    record(wmf::kSelectObject, p);
}

void WmfWriter::deleteObject(uint32_t slot) {
    std::vector<uint8_t> p;
    u16(p, unsigned(slot));
    record(wmf::kDeleteObject, p);
}

void WmfWriter::rectangle(int left, int top, int right, int bottom) {
    std::vector<uint8_t> p;
    i16(p, clamp16(bottom));
    i16(p, clamp16(right));
    i16(p, clamp16(top));
    i16(p, clamp16(left));
    record(wmf::kRectangle, p);
}

void WmfWriter::polyline(const std::vector<Point>& points) {
    // A record's count is 16 bits; long lines go in pieces that share ends.
    for (size_t start = 0; start + 1 < points.size(); start += 8000) {
        size_t n = std::min<size_t>(points.size() - start, 8001);
        std::vector<uint8_t> p;
        i16(p, int(n));
        for (size_t i = start; i < start + n; ++i) {
            i16(p, clamp16(points[i].x));
            i16(p, clamp16(points[i].y));
        }
        record(wmf::kPolyline, p);
    }
}

void WmfWriter::text(int x, int y, std::string_view s, Color c, int scale) {
    if (s.empty()) return;
    s = s.substr(0, 1000);
    use({kFont, {}, std::clamp(scale, 1, 32)});
    if (textColorChanges(c)) {
        std::vector<uint8_t> p;
        u32(p, colorRef(c.r, c.g, c.b));
        record(wmf::kSetTextColor, p);
    }
    std::vector<uint8_t> p;
    u16(p, unsigned(s.size()));
    p.insert(p.end(), s.begin(), s.end());
    if (s.size() % 2) p.push_back(0);
    i16(p, clamp16(y));
    i16(p, clamp16(x));
    record(wmf::kTextOut, p);
}

bool WmfWriter::stretchDib(const Raster& r, int x, int y, int w, int h) {
    if (!r.valid()) return false;
    std::vector<uint8_t> header, bits;
    dibOf(r, header, bits);
    std::vector<uint8_t> p;
    u32(p, kSrcCopy);
    u16(p, 0);  // DIB_RGB_COLORS
    i16(p, r.height);
    i16(p, r.width);
    i16(p, 0);
    i16(p, 0);
    i16(p, clamp16(h));
    i16(p, clamp16(w));
    i16(p, clamp16(y));
    i16(p, clamp16(x));
    p.insert(p.end(), header.begin(), header.end());
    p.insert(p.end(), bits.begin(), bits.end());
    record(wmf::kStretchDib, p);
    return true;
}

std::vector<uint8_t> WmfWriter::finish() {
    record(wmf::kEof, {});
    std::vector<uint8_t> out;
    out.reserve(40 + body_.size());
    // Placeable header: key, handle, bounding box, units per inch, reserved,
    // checksum (XOR of the ten words before it).
    u32(out, wmf::kPlaceableKey);
    u16(out, 0);
    i16(out, 0);
    i16(out, 0);
    i16(out, width_);
    i16(out, height_);
    u16(out, 96);
    u32(out, 0);
    uint16_t sum = 0;
    for (size_t i = 0; i < 20; i += 2) sum ^= uint16_t(out[i] | (out[i + 1] << 8));
    u16(out, sum);
    // META header: memory metafile, nine words, version 3.
    u16(out, 1);
    u16(out, 9);
    u16(out, 0x0300);
    u32(out, uint32_t(9 + body_.size() / 2));
    u16(out, unsigned(std::max<uint32_t>(slotCount(), 1)));
    u32(out, maxRecordWords_);
    u16(out, 0);
    out.insert(out.end(), body_.begin(), body_.end());
    *this = WmfWriter(width_, height_);
    return out;
}

// ---------------------------------------------------------------------------
// EMF

// Object index 0 stands for the metafile itself.
EmfWriter::EmfWriter(int width, int height) : MetafileWriter(width, height, 1) {
    std::vector<uint8_t> p;
    u32(p, 1);  // MM_TEXT: one unit a pixel, y down
    record(emf::kSetMapMode, p);
    p.clear();
    u32(p, 1);  // TRANSPARENT
    record(emf::kSetBkMode, p);
    p.clear();
    u32(p, 0);  // TA_TOP | TA_LEFT
    record(emf::kSetTextAlign, p);
}

void EmfWriter::record(uint32_t type, const std::vector<uint8_t>& params) {
    size_t padded = (params.size() + 3) & ~size_t(3);
    u32(body_, type);
    u32(body_, uint32_t(8 + padded));
    body_.insert(body_.end(), params.begin(), params.end());
    body_.resize(body_.size() + (padded - params.size()), 0);
    ++records_;
}

void EmfWriter::createObject(const DrawingObject& o, uint32_t slot) {
    std::vector<uint8_t> p;
    u32(p, slot);
    if (o.kind == kPen) {
        u32(p, o.width == 0 ? 5 : 0);  // PS_NULL or PS_SOLID
        i32(p, o.width);
        i32(p, 0);
        u32(p, colorRef(o.c.r, o.c.g, o.c.b));
        record(emf::kCreatePen, p);
    } else if (o.kind == kBrush) {
        u32(p, o.width == 1 ? 1 : 0);  // BS_NULL or BS_SOLID
        u32(p, colorRef(o.c.r, o.c.g, o.c.b));
        u32(p, 0);
        record(emf::kCreateBrush, p);
    } else {
        // LOGFONTW: height, width, escapement, orientation, weight, eight
        // bytes of flags, 32 UTF-16 characters of face name.
        i32(p, -10 * o.width);
        i32(p, 0);
        i32(p, 0);
        i32(p, 0);
        i32(p, kFontWeightBold);
        p.insert(p.end(), {0, 0, 0, 0, 0, 0, 0, 0x31});
        size_t face = p.size();
        p.resize(face + 64, 0);
        for (size_t i = 0; kFontFace[i]; ++i) p[face + 2 * i] = uint8_t(kFontFace[i]);
        record(emf::kCreateFont, p);
    }
}

void EmfWriter::selectObject(uint32_t slot) {
    std::vector<uint8_t> p;
    u32(p, slot);
    record(emf::kSelectObject, p);
}

void EmfWriter::deleteObject(uint32_t slot) {
    std::vector<uint8_t> p;
    u32(p, slot);
    record(emf::kDeleteObject, p);
}

void EmfWriter::rectangle(int left, int top, int right, int bottom) {
    std::vector<uint8_t> p;
    i32(p, left);
    i32(p, top);
    i32(p, right);
    i32(p, bottom);
    record(emf::kRectangle, p);
}

void EmfWriter::polyline(const std::vector<Point>& points) {
    if (points.size() < 2) return;
    int l = points[0].x, t = points[0].y, r = l, b = t;
    for (const auto& pt : points) {
        l = std::min(l, pt.x);
        r = std::max(r, pt.x);
        t = std::min(t, pt.y);
        b = std::max(b, pt.y);
    }
    std::vector<uint8_t> p;
    i32(p, l);
    i32(p, t);
    i32(p, r);
    i32(p, b);
    u32(p, uint32_t(points.size()));
    for (const auto& pt : points) {
        i32(p, pt.x);
        i32(p, pt.y);
    }
    record(emf::kPolyline, p);
}

void EmfWriter::text(int x, int y, std::string_view s, Color c, int scale) {
    if (s.empty()) return;
    s = s.substr(0, 1000);
    scale = std::clamp(scale, 1, 32);
    use({kFont, {}, scale});
    if (textColorChanges(c)) {
        std::vector<uint8_t> p;
        u32(p, colorRef(c.r, c.g, c.b));
        record(emf::kSetTextColor, p);
    }
    const int right = x + textWidth(s, scale), bottom = y + textHeight(scale);
    const uint32_t n = uint32_t(s.size());
    const uint32_t stringOffset = 76;  // from the record's start
    const uint32_t dxOffset = stringOffset + ((2 * n + 3) & ~3u);
    std::vector<uint8_t> p;
    i32(p, x);  // bounds
    i32(p, y);
    i32(p, right);
    i32(p, bottom);
    u32(p, 1);  // GM_COMPATIBLE
    u32(p, 0);  // scales: unused with MM_TEXT
    u32(p, 0);
    i32(p, x);  // reference point
    i32(p, y);
    u32(p, n);
    u32(p, stringOffset);
    u32(p, 0);  // options
    i32(p, x);
    i32(p, y);
    i32(p, right);
    i32(p, bottom);
    u32(p, dxOffset);
    for (char ch : s) u16(p, uint8_t(ch));  // Latin-1 is the first page of UTF-16
    p.resize(dxOffset - 8, 0);
    for (uint32_t i = 0; i < n; ++i) u32(p, uint32_t(6 * scale));
    record(emf::kExtTextOutW, p);
}

bool EmfWriter::stretchDibits(const Raster& r, int x, int y, int w, int h) {
    if (!r.valid()) return false;
    std::vector<uint8_t> header, bits;
    dibOf(r, header, bits);
    std::vector<uint8_t> p;
    i32(p, x);
    i32(p, y);
    i32(p, x + w - 1);
    i32(p, y + h - 1);
    i32(p, x);
    i32(p, y);
    i32(p, 0);
    i32(p, 0);
    i32(p, r.width);
    i32(p, r.height);
    u32(p, 80);  // the bitmap header follows the fixed part
    u32(p, uint32_t(header.size()));
    u32(p, uint32_t(80 + header.size()));
    u32(p, uint32_t(bits.size()));
    u32(p, 0);  // DIB_RGB_COLORS
    u32(p, kSrcCopy);
    i32(p, w);
    i32(p, h);
    p.insert(p.end(), header.begin(), header.end());
    p.insert(p.end(), bits.begin(), bits.end());
    record(emf::kStretchDibits, p);
    return true;
}

std::vector<uint8_t> EmfWriter::finish() {
    std::vector<uint8_t> p;
    u32(p, 0);   // no palette
    u32(p, 16);  // where it would start
    u32(p, 20);  // this record's size, found from the file's end
    record(emf::kEof, p);
    constexpr uint32_t kHeaderSize = 108;
    std::vector<uint8_t> out;
    out.reserve(kHeaderSize + body_.size());
    u32(out, emf::kHeader);
    u32(out, kHeaderSize);
    i32(out, 0);  // bounds, device units, inclusive
    i32(out, 0);
    i32(out, width_ - 1);
    i32(out, height_ - 1);
    i32(out, 0);  // frame, 0.01 mm at 96 dpi
    i32(out, 0);
    i32(out, int((int64_t(width_) * 2540) / 96));
    i32(out, int((int64_t(height_) * 2540) / 96));
    u32(out, emf::kSignature);
    u32(out, 0x10000);
    u32(out, uint32_t(kHeaderSize + body_.size()));
    u32(out, records_ + 1);
    u16(out, unsigned(slotCount()));
    u16(out, 0);
    u32(out, 0);  // no description
    u32(out, 0);
    u32(out, 0);  // no palette
    i32(out, width_);  // reference device: the picture, one pixel a unit
    i32(out, height_);
    i32(out, int((int64_t(width_) * 254 + 480) / 960));
    i32(out, int((int64_t(height_) * 254 + 480) / 960));
    u32(out, 0);  // no pixel format
    u32(out, 0);
    u32(out, 0);  // not OpenGL
    i32(out, int((int64_t(width_) * 25400) / 96));
    i32(out, int((int64_t(height_) * 25400) / 96));
    out.insert(out.end(), body_.begin(), body_.end());
    *this = EmfWriter(width_, height_);
    return out;
}

}  // namespace qv::imaging
