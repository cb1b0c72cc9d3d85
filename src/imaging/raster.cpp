#include "imaging/raster.h"

#include <algorithm>
#include <cstdlib>

namespace qv::imaging {

namespace {

// Our 5x7 font: seven rows a glyph, bit 4 the leftmost dot.
struct Glyph {
    char c;
    uint8_t rows[7];
};

constexpr Glyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}}, {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}}, {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}}, {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}}, {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}}, {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}}, {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}}, {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}, {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}}, {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}}, {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}, {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}}, {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}}, {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {' ', {0, 0, 0, 0, 0, 0, 0}},                      {'.', {0, 0, 0, 0, 0, 0x0C, 0x0C}},
    {',', {0, 0, 0, 0, 0x0C, 0x04, 0x08}},             {'-', {0, 0, 0, 0x1F, 0, 0, 0}},
    {'+', {0, 0x04, 0x04, 0x1F, 0x04, 0x04, 0}},       {':', {0, 0x0C, 0x0C, 0, 0x0C, 0x0C, 0}},
    {'/', {0, 0x01, 0x02, 0x04, 0x08, 0x10, 0}},       {'%', {0x18, 0x19, 0x02, 0x04, 0x08, 0x13, 0x03}},
    {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}}, {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
    {'=', {0, 0, 0x1F, 0, 0x1F, 0, 0}},                {'<', {0x02, 0x04, 0x08, 0x10, 0x08, 0x04, 0x02}},
    {'>', {0x08, 0x04, 0x02, 0x01, 0x02, 0x04, 0x08}}, {'?', {0x0E, 0x11, 0x01, 0x02, 0x04, 0, 0x04}},
    {'#', {0x0A, 0x0A, 0x1F, 0x0A, 0x1F, 0x0A, 0x0A}}, {'_', {0, 0, 0, 0, 0, 0, 0x1F}},
    {'*', {0, 0x04, 0x15, 0x0E, 0x15, 0x04, 0}},       {'\'', {0x04, 0x04, 0x08, 0, 0, 0, 0}},
    {'[', {0x0E, 0x08, 0x08, 0x08, 0x08, 0x08, 0x0E}}, {']', {0x0E, 0x02, 0x02, 0x02, 0x02, 0x02, 0x0E}},
    {'|', {0x04, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}}, {'!', {0x04, 0x04, 0x04, 0x04, 0x04, 0, 0x04}},
};
constexpr uint8_t kMissing[7] = {0, 0x1F, 0x11, 0x11, 0x11, 0x1F, 0};

const uint8_t* glyphRows(char c) {
    if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    for (const auto& g : kGlyphs)
        if (g.c == c) return g.rows;
    return kMissing;
}

}  // namespace

Color Color::toGrey() const {
    auto y = uint8_t((299 * r + 587 * g + 114 * b + 500) / 1000);
    return {y, y, y};
}

int textWidth(std::string_view s, int scale) { return int(s.size()) * 6 * std::max(scale, 1); }
int textHeight(int scale) { return 9 * std::max(scale, 1); }

bool Raster::reset(int w, int h, Color fill) {
    if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide) return false;
    width = w;
    height = h;
    rgb.resize(size_t(w) * size_t(h) * 3);
    for (size_t i = 0; i < rgb.size(); i += 3) {
        rgb[i] = fill.r;
        rgb[i + 1] = fill.g;
        rgb[i + 2] = fill.b;
    }
    return true;
}

bool Raster::valid() const {
    return width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide &&
           rgb.size() == size_t(width) * size_t(height) * 3;
}

Color Raster::pixel(int x, int y) const {
    if (x < 0 || y < 0 || x >= width || y >= height) return {};
    const uint8_t* p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
    return {p[0], p[1], p[2]};
}

void Raster::setPixel(int x, int y, Color c) {
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    uint8_t* p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
}

void Raster::fillRect(int x, int y, int w, int h, Color c) {
    int x0 = std::max(x, 0), y0 = std::max(y, 0);
    int x1 = int(std::min<long>(long(x) + w, width)), y1 = int(std::min<long>(long(y) + h, height));
    if (x0 >= x1 || y0 >= y1) return;
    for (int yy = y0; yy < y1; ++yy) {
        uint8_t* p = &rgb[(size_t(yy) * size_t(width) + size_t(x0)) * 3];
        for (int xx = x0; xx < x1; ++xx, p += 3) {
            p[0] = c.r;
            p[1] = c.g;
            p[2] = c.b;
        }
    }
}

void Raster::line(int x0, int y0, int x1, int y1, Color c, int thickness) {
    thickness = std::clamp(thickness, 1, 64);
    // Far outside points would only cost time; screens never draw there.
    auto far = [](int v) { return v < -kMaxSide || v > 2 * kMaxSide; };
    if (far(x0) || far(y0) || far(x1) || far(y1)) return;
    int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
    int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
    int err = dx + dy;
    int half = (thickness - 1) / 2;
    for (;;) {
        if (thickness == 1)
            setPixel(x0, y0, c);
        else
            fillRect(x0 - half, y0 - half, thickness, thickness, c);
        if (x0 == x1 && y0 == y1) break;
        int e2 = 2 * err;
        if (e2 >= dy) {
            err += dy;
            x0 += sx;
        }
        if (e2 <= dx) {
            err += dx;
            y0 += sy;
        }
    }
}

void Raster::text(int x, int y, std::string_view s, Color c, int scale) {
    scale = std::clamp(scale, 1, 32);
    // Cells have a one-dot margin on top, so text sits in the middle of its line.
    for (char ch : s) {
        const uint8_t* rows = glyphRows(ch);
        for (int ry = 0; ry < 7; ++ry)
            for (int rx = 0; rx < 5; ++rx)
                if (rows[ry] & (0x10 >> rx)) fillRect(x + rx * scale, y + (ry + 1) * scale, scale, scale, c);
        x += 6 * scale;
        if (x >= width) break;
    }
}

bool Raster::greyOnly() const {
    for (size_t i = 0; i + 2 < rgb.size(); i += 3)
        if (rgb[i] != rgb[i + 1] || rgb[i + 1] != rgb[i + 2]) return false;
    return true;
}

void RasterPainter::background(Color c) { r_.fillRect(0, 0, r_.width, r_.height, c); }

void RasterPainter::setPen(Color c, int width) {
    pen_ = c;
    penWidth_ = std::clamp(width, 0, 64);
}

void RasterPainter::setBrush(Color c) {
    brush_ = c;
    hollow_ = false;
}

void RasterPainter::setHollowBrush() { hollow_ = true; }

void RasterPainter::rectangle(int left, int top, int right, int bottom) {
    int w = right - left, h = bottom - top;
    if (w <= 0 || h <= 0) return;
    if (!hollow_) r_.fillRect(left, top, w, h, brush_);
    if (penWidth_ == 0) return;
    int t = std::min({penWidth_, w, h});
    r_.fillRect(left, top, w, t, pen_);
    r_.fillRect(left, bottom - t, w, t, pen_);
    r_.fillRect(left, top, t, h, pen_);
    r_.fillRect(right - t, top, t, h, pen_);
}

void RasterPainter::polyline(const std::vector<Point>& points) {
    if (penWidth_ == 0) return;
    for (size_t i = 1; i < points.size(); ++i)
        r_.line(points[i - 1].x, points[i - 1].y, points[i].x, points[i].y, pen_, penWidth_);
}

void RasterPainter::text(int x, int y, std::string_view s, Color c, int scale) { r_.text(x, y, s, c, scale); }

}  // namespace qv::imaging
