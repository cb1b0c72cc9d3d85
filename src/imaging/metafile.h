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

// What the two metafile writers share: the picture's size, the pen, brush
// and font in use with the object table they sit in, and the text colour
// last set. Each format writes its own records.
class MetafileWriter : public Painter {
public:
    int width() const override { return width_; }
    int height() const override { return height_; }
    void background(Color c) override;
    void setPen(Color c, int width) override;
    void setBrush(Color c) override;
    void setHollowBrush() override;

protected:
    enum Kind { kPen = 0, kBrush = 1, kFont = 2 };
    // A pen, brush or font as drawn: what decides whether a new one is needed.
    struct DrawingObject {
        int kind = -1;
        Color c;
        int width = 0;  // pen width, font scale; brush: 1 hollow
        bool operator==(const DrawingObject&) const = default;
    };
    // Sides are clamped to 1..kMaxSide. firstSlot: the lowest object index
    // the format lets a drawing use.
    MetafileWriter(int width, int height, uint32_t firstSlot);
    // Makes o the selected object of its kind: nothing when it already is,
    // else its create and select records in the lowest free slot (where
    // playback puts it) and the delete record of the object it replaces.
    void use(const DrawingObject& o);
    // True when text in c needs a text colour record first (noted as set).
    bool textColorChanges(Color c);
    uint32_t slotCount() const { return uint32_t(taken_.size()); }
    virtual void createObject(const DrawingObject& o, uint32_t slot) = 0;
    virtual void selectObject(uint32_t slot) = 0;
    virtual void deleteObject(uint32_t slot) = 0;

    int width_, height_;

private:
    std::vector<bool> taken_;
    bool selected_[3] = {false, false, false};
    uint32_t slot_[3] = {0, 0, 0};
    DrawingObject object_[3];
    Color textColor_;
    bool textColorSet_ = false;
};

// Placeable Windows metafile: the 22-byte placeable header, the META header,
// the records, META_EOF.
class WmfWriter : public MetafileWriter {
public:
    WmfWriter(int width, int height);
    void rectangle(int left, int top, int right, int bottom) override;
    void polyline(const std::vector<Point>& points) override;
    void text(int x, int y, std::string_view s, Color c, int scale) override;
    // The raster stretched over the given rectangle (META_STRETCHDIB).
    bool stretchDib(const Raster& r, int x, int y, int w, int h);
    // Ends the file and hands it over; the writer is then empty.
    std::vector<uint8_t> finish();

private:
    void record(uint16_t function, const std::vector<uint8_t>& params);
    void createObject(const DrawingObject& o, uint32_t slot) override;
    void selectObject(uint32_t slot) override;
    void deleteObject(uint32_t slot) override;

    std::vector<uint8_t> body_;
    uint32_t maxRecordWords_ = 0;
};

// Enhanced metafile: EMR_HEADER, the records, EMR_EOF.
class EmfWriter : public MetafileWriter {
public:
    EmfWriter(int width, int height);
    void rectangle(int left, int top, int right, int bottom) override;
    void polyline(const std::vector<Point>& points) override;
    void text(int x, int y, std::string_view s, Color c, int scale) override;
    bool stretchDibits(const Raster& r, int x, int y, int w, int h);
    std::vector<uint8_t> finish();

private:
    void record(uint32_t type, const std::vector<uint8_t>& params);
    void createObject(const DrawingObject& o, uint32_t slot) override;
    void selectObject(uint32_t slot) override;
    void deleteObject(uint32_t slot) override;

    std::vector<uint8_t> body_;
    uint32_t records_ = 0;
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
