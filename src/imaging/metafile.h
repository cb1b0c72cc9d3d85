// Vector metafiles drawn through the Painter interface. Coordinates are
// pixels of a 96 dots-per-inch picture. Pens, brushes and fonts are created
// when they change and the ones they replace deleted, so a file holds few
// objects however long the drawing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "imaging/raster.h"

namespace qv::imaging {

// Placeable Windows metafile: the 22-byte placeable header, the META header,
// the records, META_EOF.
class WmfWriter : public Painter {
public:
    // Sides are clamped to 1..kMaxSide.
    WmfWriter(int width, int height);
    int width() const override { return width_; }
    int height() const override { return height_; }
    void background(Color c) override;
    void setPen(Color c, int width) override;
    void setBrush(Color c) override;
    void setHollowBrush() override;
    void rectangle(int left, int top, int right, int bottom) override;
    void polyline(const std::vector<Point>& points) override;
    void text(int x, int y, std::string_view s, Color c, int scale) override;
    // The raster stretched over the given rectangle (META_STRETCHDIB).
    bool stretchDib(const Raster& r, int x, int y, int w, int h);
    // Ends the file and hands it over; the writer is then empty.
    std::vector<uint8_t> finish();

private:
    struct Spec {
        int kind = -1;  // 0 pen, 1 brush, 2 font
        Color c;
        int width = 0;  // pen width, font scale; brush: 1 hollow
        bool operator==(const Spec&) const = default;
    };
    void record(uint16_t function, const std::vector<uint8_t>& params);
    void use(const Spec& s);
    int allocSlot();

    int width_, height_;
    std::vector<uint8_t> body_;
    uint32_t maxRecordWords_ = 0;
    std::vector<bool> slots_;
    int current_[3] = {-1, -1, -1};  // slot of the selected pen, brush, font
    Spec spec_[3];
    Color textColor_{1, 2, 3};
    bool textColorSet_ = false;
};

// Enhanced metafile: EMR_HEADER, the records, EMR_EOF.
class EmfWriter : public Painter {
public:
    EmfWriter(int width, int height);
    int width() const override { return width_; }
    int height() const override { return height_; }
    void background(Color c) override;
    void setPen(Color c, int width) override;
    void setBrush(Color c) override;
    void setHollowBrush() override;
    void rectangle(int left, int top, int right, int bottom) override;
    void polyline(const std::vector<Point>& points) override;
    void text(int x, int y, std::string_view s, Color c, int scale) override;
    bool stretchDibits(const Raster& r, int x, int y, int w, int h);
    std::vector<uint8_t> finish();

private:
    struct Spec {
        int kind = -1;
        Color c;
        int width = 0;
        bool operator==(const Spec&) const = default;
    };
    void record(uint32_t type, const std::vector<uint8_t>& params);
    void use(const Spec& s);
    uint32_t allocHandle();

    int width_, height_;
    std::vector<uint8_t> body_;
    uint32_t records_ = 0;
    std::vector<bool> handles_;  // index 0 is the metafile itself
    uint32_t current_[3] = {0, 0, 0};
    Spec spec_[3];
    Color textColor_{1, 2, 3};
    bool textColorSet_ = false;
};

// Record functions and types the writers use (and the tests walk).
namespace wmf {
constexpr uint32_t kPlaceableKey = 0x9AC6CDD7;
constexpr uint16_t kEof = 0x0000, kSetBkMode = 0x0102, kSelectObject = 0x012D, kSetTextAlign = 0x012E,
                   kDeleteObject = 0x01F0, kSetTextColor = 0x0209, kSetWindowOrg = 0x020B,
                   kSetWindowExt = 0x020C, kCreatePen = 0x02FA, kCreateFont = 0x02FB, kCreateBrush = 0x02FC,
                   kPolyline = 0x0325, kRectangle = 0x041B, kTextOut = 0x0521, kStretchDib = 0x0F43;
}  // namespace wmf
namespace emf {
constexpr uint32_t kHeader = 1, kPolyline = 4, kEof = 14, kSetMapMode = 17, kSetBkMode = 18,
                   kSetTextAlign = 22, kSetTextColor = 24, kSelectObject = 37, kCreatePen = 38,
                   kCreateBrush = 39, kDeleteObject = 40, kRectangle = 43, kStretchDibits = 81,
                   kCreateFont = 82, kExtTextOutW = 84;
constexpr uint32_t kSignature = 0x464D4520;  // " EMF"
}  // namespace emf

}  // namespace qv::imaging
