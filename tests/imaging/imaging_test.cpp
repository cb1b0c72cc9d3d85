// The image library through independent decoders: every bitmap writer is
// read back by FreeImage, EMF by libemf2svg, WMF by walking its records.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "decode.h"
#include "imaging/image_files.h"
#include "imaging/metafile.h"

using namespace qv::imaging;
using qvimagetest::decodeRaster;

namespace {

constexpr Color kRed{220, 30, 30}, kGreen{20, 200, 60}, kBlue{30, 40, 230}, kWhite{255, 255, 255};

// Odd width, so every format has to pad its rows; four coloured blocks, a
// text, and optionally a gradient with far more than 256 colours.
Raster testPicture(bool manyColors, bool grey) {
    Raster r;
    r.reset(61, 45, {10, 10, 10});
    r.fillRect(0, 0, 30, 20, kRed);
    r.fillRect(31, 0, 30, 20, kGreen);
    r.fillRect(0, 21, 30, 20, kBlue);
    r.fillRect(31, 21, 30, 20, kWhite);
    r.text(2, 5, "A1", kWhite, 1);
    if (manyColors)
        for (int x = 0; x < 61; ++x)
            for (int y = 36; y < 45; ++y) r.setPixel(x, y, {uint8_t(x * 4), uint8_t(y * 5), uint8_t(x * y)});
    if (grey)
        for (int y = 0; y < r.height; ++y)
            for (int x = 0; x < r.width; ++x) r.setPixel(x, y, r.pixel(x, y).toGrey());
    return r;
}

using Writer = std::function<bool(const Raster&, std::vector<uint8_t>&)>;

struct FormatCase {
    const char* name;
    Writer write;
    FREE_IMAGE_FORMAT format;
    int tolerance;  // per channel; lossy formats only
    bool manyColors;
};

std::ostream& operator<<(std::ostream& os, const FormatCase& c) { return os << c.name; }

class RasterFormats : public ::testing::TestWithParam<FormatCase> {};

bool near(Color a, Color b, int tol) {
    return std::abs(a.r - b.r) <= tol && std::abs(a.g - b.g) <= tol && std::abs(a.b - b.b) <= tol;
}

TEST_P(RasterFormats, DecodesToTheSamePicture) {
    const auto& c = GetParam();
    for (bool grey : {false, true}) {
        SCOPED_TRACE(grey ? "grey" : "colour");
        Raster src = testPicture(c.manyColors, grey);
        std::vector<uint8_t> file;
        ASSERT_TRUE(c.write(src, file));
        Raster back;
        FREE_IMAGE_FORMAT found;
        ASSERT_TRUE(decodeRaster(file, back, found));
        EXPECT_EQ(found, c.format);
        ASSERT_EQ(back.width, src.width);
        ASSERT_EQ(back.height, src.height);
        if (c.tolerance == 0) {
            EXPECT_EQ(back.rgb, src.rgb);
        } else {
            for (Point p : {Point{15, 15}, Point{45, 10}, Point{15, 30}, Point{45, 30}})
                EXPECT_TRUE(near(back.pixel(p.x, p.y), src.pixel(p.x, p.y), c.tolerance)) << p.x << "," << p.y;
        }
        if (grey) {
            EXPECT_TRUE(back.greyOnly());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, RasterFormats,
    ::testing::Values(
        FormatCase{"Bmp24", [](const Raster& r, auto& o) { return writeBmp(r, o, 24); }, FIF_BMP, 0, true},
        FormatCase{"Bmp8", [](const Raster& r, auto& o) { return writeBmp(r, o, 8); }, FIF_BMP, 0, false},
        FormatCase{"Bmp4", [](const Raster& r, auto& o) { return writeBmp(r, o, 4); }, FIF_BMP, 0, false},
        FormatCase{"PcxPalette", writePcx, FIF_PCX, 0, false},
        FormatCase{"PcxThreePlanes", writePcx, FIF_PCX, 0, true},
        FormatCase{"Png", writePng, FIF_PNG, 0, true},
        FormatCase{"Jpeg", [](const Raster& r, auto& o) { return writeJpeg(r, o); }, FIF_JPEG, 12, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RasterFormats, RefuseWhatTheyCannotHold) {
    Raster empty, torn;
    torn.width = 4;
    torn.height = 4;
    torn.rgb.resize(10);  // fewer bytes than the sides say
    Raster many = testPicture(true, false);
    std::vector<uint8_t> out{1, 2, 3};
    for (const Raster* r : {&empty, &torn}) {
        EXPECT_FALSE(writeBmp(*r, out));
        EXPECT_FALSE(writePcx(*r, out));
        EXPECT_FALSE(writePng(*r, out));
        EXPECT_FALSE(writeJpeg(*r, out));
        EXPECT_FALSE(writeWmf(*r, out));
        EXPECT_FALSE(writeEmf(*r, out));
        EXPECT_TRUE(out.empty());
    }
    EXPECT_FALSE(writeBmp(many, out, 8));  // more than 256 colours
    Raster seventeen;
    seventeen.reset(17, 1);
    for (int x = 0; x < 17; ++x) seventeen.setPixel(x, 0, {uint8_t(x), 0, 0});
    EXPECT_FALSE(writeBmp(seventeen, out, 4));
    seventeen.setPixel(16, 0, {0, 0, 0});
    EXPECT_TRUE(writeBmp(seventeen, out, 4));
    EXPECT_FALSE(writeBmp(many, out, 16));  // a depth we do not write
    EXPECT_FALSE(Raster().reset(0, 5));
    EXPECT_FALSE(Raster().reset(kMaxSide + 1, 5));
}

// ---------------------------------------------------------------------------
// Metafiles

// The same drawing on any painter: background, outlined and filled boxes,
// a long trace, many colour changes, text.
void drawScene(Painter& p) {
    p.background({0, 0, 40});
    p.setPen(kWhite, 1);
    p.setBrush(kBlue);
    p.rectangle(10, 10, 110, 60);
    p.setHollowBrush();
    p.rectangle(5, 5, 195, 95);
    std::vector<Point> trace;
    for (int i = 0; i < 20000; ++i) trace.push_back({i % 200, 50 + (i % 37)});
    p.setPen(kGreen, 2);
    p.polyline(trace);
    for (int i = 0; i < 50; ++i) {
        p.setPen({uint8_t(i * 5), 100, 100}, 1);
        p.polyline({{170, i}, {180, i}});
    }
    p.text(20, 70, "TRACE 1", kRed, 1);
    p.text(20, 80, "REF -10 DBM", kWhite, 2);
}

TEST(Wmf, VectorDrawingIsAValidMetafile) {
    WmfWriter w(200, 100);
    drawScene(w);
    std::vector<uint8_t> f = w.finish();
    qvimagetest::WmfInfo info;
    std::string why;
    ASSERT_TRUE(qvimagetest::walkWmf(f, info, why)) << why;
    EXPECT_EQ(info.width, 200);
    EXPECT_EQ(info.height, 100);
    // Replaced objects are deleted: 50 pens in a row need no 50 slots.
    EXPECT_LE(info.objects, 6);
    // Replay the object table: every selection and deletion names a live slot.
    std::vector<bool> live;
    size_t polylines = 0, texts = 0;
    for (const auto& r : info.records) {
        uint16_t arg = r.size >= 8 ? qvimagetest::le16(f, r.offset + 6) : 0;
        if (r.type == wmf::kCreatePen || r.type == wmf::kCreateBrush || r.type == wmf::kCreateFont) {
            auto it = std::find(live.begin(), live.end(), false);
            if (it == live.end()) it = live.insert(live.end(), false);
            *it = true;
        } else if (r.type == wmf::kSelectObject || r.type == wmf::kDeleteObject) {
            ASSERT_LT(arg, live.size());
            EXPECT_TRUE(live[arg]);
            if (r.type == wmf::kDeleteObject) live[arg] = false;
        }
        polylines += r.type == wmf::kPolyline;
        texts += r.type == wmf::kTextOut;
    }
    EXPECT_LE(live.size(), info.objects);
    EXPECT_EQ(polylines, 3u + 50u);  // 20000 points need three records of at most 8001
    EXPECT_EQ(texts, 2u);
    // Colours pass through as COLORREF (red in the low byte).
    auto colors = qvimagetest::wmfColors(f, info);
    EXPECT_NE(std::find(colors.begin(), colors.end(), 0x3CC814u), colors.end());
}

TEST(Emf, VectorDrawingConvertsToSvg) {
    EmfWriter w(200, 100);
    drawScene(w);
    std::vector<uint8_t> f = w.finish();
    qvimagetest::EmfInfo info;
    std::string why;
    ASSERT_TRUE(qvimagetest::walkEmf(f, info, why)) << why;
    EXPECT_EQ(info.boundsRight, 199);
    EXPECT_EQ(info.boundsBottom, 99);
    EXPECT_LE(info.handles, 7);
    std::string svg;
    ASSERT_TRUE(qvimagetest::emfToSvg(f, svg));
    EXPECT_NE(svg.find("<svg"), std::string::npos);
    EXPECT_NE(svg.find("<path"), std::string::npos) << svg.substr(0, 2000);
    EXPECT_NE(svg.find("TRACE 1"), std::string::npos);
    EXPECT_NE(svg.find("REF -10 DBM"), std::string::npos);
    EXPECT_NE(svg.find("#14C83C"), std::string::npos);  // the green trace's pen
}

// The DIB inside a metafile's picture record, made a BMP file again.
std::vector<uint8_t> bmpFromDib(const std::vector<uint8_t>& f, size_t dibAt, size_t dibSize) {
    std::vector<uint8_t> bmp{'B', 'M'};
    auto u32 = [&](uint32_t v) {
        for (int i = 0; i < 4; ++i) bmp.push_back(uint8_t(v >> (8 * i)));
    };
    u32(uint32_t(14 + dibSize));
    u32(0);
    u32(14 + 40);
    bmp.insert(bmp.end(), f.begin() + long(dibAt), f.begin() + long(dibAt + dibSize));
    return bmp;
}

TEST(Metafiles, WrappedRasterKeepsEveryPixel) {
    Raster src = testPicture(true, false);
    {
        std::vector<uint8_t> f;
        ASSERT_TRUE(writeWmf(src, f));
        qvimagetest::WmfInfo info;
        std::string why;
        ASSERT_TRUE(qvimagetest::walkWmf(f, info, why)) << why;
        auto dib = std::find_if(info.records.begin(), info.records.end(),
                                [](const auto& r) { return r.type == wmf::kStretchDib; });
        ASSERT_NE(dib, info.records.end());
        EXPECT_EQ(std::count_if(info.records.begin(), info.records.end(),
                                [](const auto& r) { return r.type == wmf::kStretchDib; }),
                  1);
        // Destination size (words 6 and 7 of the parameters) is the picture's.
        EXPECT_EQ(qvimagetest::le16(f, dib->offset + 6 + 16), src.width);
        EXPECT_EQ(qvimagetest::le16(f, dib->offset + 6 + 14), src.height);
        const size_t dibAt = dib->offset + 6 + 22;
        Raster back;
        FREE_IMAGE_FORMAT fmt;
        ASSERT_TRUE(decodeRaster(bmpFromDib(f, dibAt, dib->offset + dib->size - dibAt), back, fmt));
        EXPECT_EQ(back.rgb, src.rgb);
    }
    {
        std::vector<uint8_t> f;
        ASSERT_TRUE(writeEmf(src, f));
        qvimagetest::EmfInfo info;
        std::string why;
        ASSERT_TRUE(qvimagetest::walkEmf(f, info, why)) << why;
        auto dib = std::find_if(info.records.begin(), info.records.end(),
                                [](const auto& r) { return r.type == emf::kStretchDibits; });
        ASSERT_NE(dib, info.records.end());
        const size_t bmiAt = dib->offset + qvimagetest::le32(f, dib->offset + 48);
        const size_t bitsEnd = dib->offset + qvimagetest::le32(f, dib->offset + 56) + qvimagetest::le32(f, dib->offset + 60);
        ASSERT_LE(bitsEnd, dib->offset + dib->size);
        Raster back;
        FREE_IMAGE_FORMAT fmt;
        ASSERT_TRUE(decodeRaster(bmpFromDib(f, bmiAt, bitsEnd - bmiAt), back, fmt));
        EXPECT_EQ(back.rgb, src.rgb);
        std::string svg;
        ASSERT_TRUE(qvimagetest::emfToSvg(f, svg));
        EXPECT_NE(svg.find("<image"), std::string::npos);
    }
}

// ---------------------------------------------------------------------------
// Drawing on the raster

TEST(RasterPainter, ShapesLandWhereAsked) {
    Raster r;
    ASSERT_TRUE(r.reset(200, 100));
    RasterPainter p(r);
    drawScene(p);
    EXPECT_EQ(r.pixel(199, 99), (Color{0, 0, 40}));    // background
    EXPECT_EQ(r.pixel(10, 30), kWhite);                 // outline, left edge
    EXPECT_EQ(r.pixel(109, 30), kWhite);                // right edge is inside
    EXPECT_EQ(r.pixel(110, 30), (Color{0, 0, 40}));     // and no further
    EXPECT_EQ(r.pixel(60, 20), kBlue);                  // fill
    EXPECT_EQ(r.pixel(150, 5), kWhite);                 // hollow box keeps its outline
    EXPECT_EQ(r.pixel(150, 30), (Color{0, 0, 40}));     // and not its inside
    // Text stays inside its cells.
    Raster t;
    ASSERT_TRUE(t.reset(100, 40));
    t.text(3, 4, "W8%", kRed, 2);
    int minX = 100, maxX = -1, minY = 100, maxY = -1;
    for (int y = 0; y < t.height; ++y)
        for (int x = 0; x < t.width; ++x)
            if (t.pixel(x, y) == kRed) {
                minX = std::min(minX, x), maxX = std::max(maxX, x);
                minY = std::min(minY, y), maxY = std::max(maxY, y);
            }
    EXPECT_EQ(minX, 3);
    EXPECT_LT(maxX, 3 + textWidth("W8%", 2));
    EXPECT_GE(minY, 4);
    EXPECT_LT(maxY, 4 + textHeight(2));
    // Drawing far outside is clipped, not a fault.
    t.line(-5000, -5000, 5000, 5000, kGreen, 3);
    t.fillRect(-10, -10, 1000000, 5, kGreen);
    t.text(95, 35, "XYZ", kGreen, 4);
    EXPECT_EQ(t.pixel(0, 0), kGreen);
}

}  // namespace
