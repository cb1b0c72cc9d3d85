// Pictures in memory: an RGB raster with the few drawing operations the
// simulated instruments need to paint a screen, and the Painter interface
// that the raster and the metafile writers share, so one drawing routine
// yields a bitmap or a vector file alike.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace qv::imaging {

struct Color {
    uint8_t r = 0, g = 0, b = 0;
    friend bool operator==(const Color&, const Color&) = default;
    bool grey() const { return r == g && g == b; }
    // Luminance (ITU-R BT.601 weights) as a grey of the same brightness.
    Color toGrey() const;
};

struct Point {
    int x = 0, y = 0;
};

// Largest side we make or accept; metafiles address pixels with 16 bits.
constexpr int kMaxSide = 16384;

// RGB888, top row first, no padding.
struct Raster {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;

    // False (and the raster unchanged) when a side is < 1 or > kMaxSide.
    bool reset(int w, int h, Color fill = {});
    // True when the sizes and the buffer agree.
    bool valid() const;
    Color pixel(int x, int y) const;  // black outside
    void setPixel(int x, int y, Color c);
    // Everything below is clipped to the raster.
    void fillRect(int x, int y, int w, int h, Color c);
    void line(int x0, int y0, int x1, int y1, Color c, int thickness = 1);
    // The built-in 5x7 font, each dot scale x scale pixels; (x, y) is the
    // top left corner of the first cell. Lower case is drawn upper case;
    // characters the font lacks show as a small box.
    void text(int x, int y, std::string_view s, Color c, int scale = 1);
    bool greyOnly() const;
};

// Size of a text in the built-in font: cells are 6 x 9 dots.
int textWidth(std::string_view s, int scale);
int textHeight(int scale);

// What a screen drawing needs. Coordinates are pixels of the picture.
class Painter {
public:
    virtual ~Painter() = default;
    virtual int width() const = 0;
    virtual int height() const = 0;
    // Fills the whole picture.
    virtual void background(Color c) = 0;
    // Outline of rectangles and polylines; width 0 draws no outline.
    virtual void setPen(Color c, int width) = 0;
    virtual void setBrush(Color c) = 0;
    virtual void setHollowBrush() = 0;
    // Covers [left, right) x [top, bottom): filled with the brush, outlined
    // with the pen on its inner edge.
    virtual void rectangle(int left, int top, int right, int bottom) = 0;
    virtual void polyline(const std::vector<Point>& points) = 0;
    // A line of text whose cell's top left corner is (x, y), in the size of
    // the built-in font at that scale.
    virtual void text(int x, int y, std::string_view s, Color c, int scale) = 0;
};

class RasterPainter : public Painter {
public:
    explicit RasterPainter(Raster& raster) : r_(raster) {}
    int width() const override { return r_.width; }
    int height() const override { return r_.height; }
    void background(Color c) override;
    void setPen(Color c, int width) override;
    void setBrush(Color c) override;
    void setHollowBrush() override;
    void rectangle(int left, int top, int right, int bottom) override;
    void polyline(const std::vector<Point>& points) override;
    void text(int x, int y, std::string_view s, Color c, int scale) override;

private:
    Raster& r_;
    Color pen_{}, brush_{};
    int penWidth_ = 1;
    bool hollow_ = false;
};

}  // namespace qv::imaging
