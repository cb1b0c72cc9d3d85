// Picture files: each format read by its content into the right pixels,
// damaged and foreign files refused with a reason (and without a word on
// standard error), pictures written in the format their name asks for.
#include "picture_samples.h"
#include "ui/picture_files.h"
#include "ui_fixtures.h"

#include <QBuffer>
#include <QColor>
#include <QImage>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

using qvtest::App;
using qvtest::SampleRect;
using qv::ui::PictureFormat;

namespace {

// Three areas of known colour on white; tests look at their middles, away
// from edges a renderer may smooth.
const std::vector<SampleRect> kRects = {
    {0, 0, 40, 24, 0xCC2020},    // red, top left
    {40, 24, 80, 48, 0x20A040},  // green, bottom right
    {60, 4, 76, 20, 0x2040C0},   // blue, top right
};
constexpr int kW = 80, kH = 48;

struct Probe {
    int x, y;
    uint32_t rgb;
};
const std::vector<Probe> kProbes = {
    {20, 12, 0xCC2020}, {60, 36, 0x20A040}, {68, 12, 0x2040C0}, {20, 36, 0xFFFFFF}, {50, 12, 0xFFFFFF}};

QImage referenceImage() {
    QImage img(kW, kH, QImage::Format_RGB32);
    img.fill(Qt::white);
    for (const SampleRect& r : kRects)
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x) img.setPixel(x, y, 0xFF000000u | r.rgb);
    return img;
}

std::string qtBytes(const char* format) {
    QByteArray out;
    QBuffer buf(&out);
    buf.open(QIODevice::WriteOnly);
    referenceImage().save(&buf, format, 95);
    return out.toStdString();
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary);
    f << bytes;
}

std::string readFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

::testing::AssertionResult colourNear(const QImage& img, const Probe& p, int tolerance) {
    if (p.x >= img.width() || p.y >= img.height())
        return ::testing::AssertionFailure() << "probe " << p.x << "," << p.y << " outside the picture";
    QRgb got = img.pixel(p.x, p.y);
    int dr = std::abs(qRed(got) - int((p.rgb >> 16) & 0xFF));
    int dg = std::abs(qGreen(got) - int((p.rgb >> 8) & 0xFF));
    int db = std::abs(qBlue(got) - int(p.rgb & 0xFF));
    if (std::max({dr, dg, db}) <= tolerance) return ::testing::AssertionSuccess();
    char buf[96];
    std::snprintf(buf, sizeof buf, "at %d,%d: got %06X, want %06X", p.x, p.y, got & 0xFFFFFFu, p.rgb);
    return ::testing::AssertionFailure() << buf;
}

// Everything written to standard error (fd 2) while it lives.
class StderrCapture {
public:
    StderrCapture() {
        std::fflush(stderr);
        saved_ = ::dup(2);
        int fd = ::open(file_.file("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(fd, 2);
        ::close(fd);
    }
    std::string finish() {
        std::fflush(stderr);
        if (saved_ >= 0) {
            ::dup2(saved_, 2);
            ::close(saved_);
            saved_ = -1;
        }
        return readFile(file_.file("stderr"));
    }
    ~StderrCapture() { finish(); }

private:
    qvtest::TempDir file_;
    int saved_ = -1;
};

// ---- every format read by its content --------------------------------------

struct FormatCase {
    const char* name;
    std::function<std::string()> bytes;
    int tolerance;  // per channel: lossy formats and smoothed vector edges
};

class LoadEachFormat : public ::testing::TestWithParam<FormatCase> {};

TEST_P(LoadEachFormat, GivesThePictureAtItsSizeWithItsColours) {
    App();
    qvtest::TempDir dir;
    // A misleading name: the content decides.
    std::string path = dir.file("hardcopy.txt");
    writeFile(path, GetParam().bytes());
    QImage img;
    std::string why;
    ASSERT_TRUE(qv::ui::loadPicture(path, img, why)) << why;
    EXPECT_EQ(img.width(), kW);
    EXPECT_EQ(img.height(), kH);
    for (const Probe& p : kProbes) EXPECT_TRUE(colourNear(img, p, GetParam().tolerance));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, LoadEachFormat,
    ::testing::Values(FormatCase{"BMP", [] { return qtBytes("bmp"); }, 0},
                      FormatCase{"PNG", [] { return qtBytes("png"); }, 0},
                      FormatCase{"JPEG", [] { return qtBytes("jpeg"); }, 24},
                      FormatCase{"WMF", [] { return qvtest::makeWmf(kW, kH, kRects); }, 0},
                      // The same drawing as bitmaps inside the metafile.
                      FormatCase{"WMFBitmaps",
                                 [] { return qvtest::makeWmf(kW, kH, {}, {}, 0, kRects); }, 0},
                      FormatCase{"EMF", [] { return qvtest::makeEmf(kW, kH, kRects); }, 8},
                      FormatCase{"PCX", [] { return qvtest::makePcx(kW, kH, kRects); }, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(LoadPicture, MetafileTextIsDrawn) {
    App();
    auto darkPixels = [](const QImage& img) {
        int n = 0;
        for (int y = 0; y < img.height(); ++y)
            for (int x = 0; x < img.width(); ++x) n += qGray(img.pixel(x, y)) < 96;
        return n;
    };
    QImage withText, without;
    std::string why;
    ASSERT_TRUE(qv::ui::decodePicture(qvtest::makeWmf(200, 60, {}, "RBW 100 kHz", 24), withText, why)) << why;
    ASSERT_TRUE(qv::ui::decodePicture(qvtest::makeWmf(200, 60, {}), without, why)) << why;
    EXPECT_EQ(darkPixels(without), 0);
    EXPECT_GT(darkPixels(withText), 150);  // eleven glyphs of 24 pixels leave far more than this
}

// Vector pictures too large for the limits are drawn smaller, keeping their shape.
TEST(LoadPicture, OversizedMetafilesAreDrawnWithinTheLimits) {
    App();
    for (const std::string& bytes : {qvtest::makeEmf(30000, 300, {{0, 0, 30000, 300, 0x2040C0}}),
                                     qvtest::makeWmf(30000, 300, {{0, 0, 30000, 300, 0x2040C0}})}) {
        QImage img;
        std::string why;
        ASSERT_TRUE(qv::ui::decodePicture(bytes, img, why)) << why;
        EXPECT_LE(img.width(), qv::ui::kPictureMaxSide);
        EXPECT_GE(img.width(), qv::ui::kPictureMaxSide - 1);
        EXPECT_NEAR(double(img.width()) / img.height(), 100.0, 1.0);
        EXPECT_TRUE(colourNear(img, {img.width() / 2, img.height() / 2, 0x2040C0}, 8));
    }
}

// ---- refused files ----------------------------------------------------------

std::string truncated(const std::string& s) { return s.substr(0, s.size() / 2); }

std::string bmpHeaderClaiming(int w, int h) {
    qvtest::Bytes b;
    b.u8('B'); b.u8('M'); b.u32(54 + 16); b.u32(0); b.u32(54);
    b.u32(40); b.i32(w); b.i32(h); b.u16(1); b.u16(24); b.u32(0); b.u32(0);
    b.u32(0); b.u32(0); b.u32(0); b.u32(0);
    for (int i = 0; i < 16; ++i) b.u8(0x55);
    return b.str();
}

std::string pcxClaiming(int w, int h) {
    std::string s = qvtest::makePcx(4, 4, {});
    s[8] = static_cast<char>((w - 1) & 0xFF);
    s[9] = static_cast<char>(((w - 1) >> 8) & 0xFF);
    s[10] = static_cast<char>((h - 1) & 0xFF);
    s[11] = static_cast<char>(((h - 1) >> 8) & 0xFF);
    return s;
}

std::string emfWithRecordPastTheEnd() {
    std::string s = qvtest::makeEmf(kW, kH, kRects);
    // The second record (after the header, whose size stands at 4) claims a huge size.
    const size_t second = static_cast<uint8_t>(s[4]);
    s[second + 4] = '\x00'; s[second + 5] = '\x00'; s[second + 6] = '\x10'; s[second + 7] = '\x00';
    return s;
}

std::string wmfWithGarbageRecords() {
    std::string s = qvtest::makeWmf(kW, kH, kRects);
    for (size_t i = 40; i < s.size(); ++i) s[i] = static_cast<char>((i * 131) & 0xFF);
    return s;
}

// Found by fuzzing: the metafile library dereferences a null pointer
// drawing text when the window extent is lost (its record's function code
// lost its high byte) and the placeable box is wide (right edge 8232).
std::string wmfThatCrashesTheLibrary() {
    std::string s = qvtest::makeWmf(40, 20, {}, "Ab", 10);
    s[11] = '\x20';
    s[22 + 18 + 10 + 5] = '\0';
    return s;
}

// Cut half way through the coded picture: every table is there.
std::string jpegCutInItsData() {
    std::string s = qtBytes("jpeg");
    return s.substr(0, (s.rfind("\xFF\xDA") + s.size()) / 2);
}

std::string pngWithBrokenData() {
    std::string s = qtBytes("png");
    for (size_t i = 60; i < s.size() - 12; ++i) s[i] = static_cast<char>(s[i] ^ 0x5A);
    return s;
}

struct RefusedCase {
    const char* name;
    std::function<std::string()> bytes;  // written to the file; null: no file at all
    const char* reasonHas;
};

class RefusedFiles : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedFiles, FailWithAReasonAndStayQuiet) {
    App();
    qvtest::TempDir dir;
    std::string path = dir.file("picture");
    if (GetParam().bytes) writeFile(path, GetParam().bytes());
    QImage img(4, 4, QImage::Format_RGB32);
    std::string why;
    StderrCapture err;
    bool ok = qv::ui::loadPicture(path, img, why);
    std::string said = err.finish();
    EXPECT_FALSE(ok);
    EXPECT_NE(why.find(GetParam().reasonHas), std::string::npos) << why;
    EXPECT_EQ(said, "");
    EXPECT_TRUE(qv::ui::loadPictureDirect(path).isNull());
}

INSTANTIATE_TEST_SUITE_P(
    Damaged, RefusedFiles,
    ::testing::Values(
        RefusedCase{"Missing", nullptr, "does not exist"},
        RefusedCase{"Empty", [] { return std::string(); }, "empty"},
        RefusedCase{"Text", [] { return std::string("*IDN? Tesselhorn,TKD-7\n"); }, "known format"},
        RefusedCase{"TruncatedBmp", [] { return truncated(qtBytes("bmp")); }, "BMP"},
        RefusedCase{"TruncatedPng", [] { return truncated(qtBytes("png")); }, "PNG"},
        RefusedCase{"TruncatedJpegHeader", [] { return qtBytes("jpeg").substr(0, 100); }, "JPEG"},
        RefusedCase{"TruncatedJpegData", jpegCutInItsData, "JPEG: the file ends early"},
        RefusedCase{"TruncatedWmf", [] { return truncated(qvtest::makeWmf(kW, kH, kRects)); }, "WMF"},
        RefusedCase{"TruncatedEmf", [] { return truncated(qvtest::makeEmf(kW, kH, kRects)); }, "EMF: the file ends"},
        RefusedCase{"TruncatedPcx", [] { return truncated(qvtest::makePcx(kW, kH, kRects)); }, "PCX"},
        RefusedCase{"PngDataDamaged", pngWithBrokenData, "PNG"},
        RefusedCase{"WmfRecordsDamaged", wmfWithGarbageRecords, "WMF"},
        RefusedCase{"WmfThatCrashesTheLibrary", wmfThatCrashesTheLibrary, "WMF: the decoder failed"},
        RefusedCase{"EmfRecordPastTheEnd", emfWithRecordPastTheEnd, "EMF: record"},
        RefusedCase{"BmpHuge", [] { return bmpHeaderClaiming(60000, 60000); }, "too large"},
        RefusedCase{"PcxHuge", [] { return pcxClaiming(65000, 65000); }, "too large"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(LoadPicture, ADirectoryIsNoPicture) {
    qvtest::TempDir dir;
    QImage img;
    std::string why;
    EXPECT_FALSE(qv::ui::loadPicture(dir.path(), img, why));
    EXPECT_NE(why.find("not a file"), std::string::npos) << why;
}

TEST(LoadPictureDirect, TrimsTheNameOfBlanks) {
    App();
    qvtest::TempDir dir;
    std::string path = dir.file("scope.png");
    writeFile(path, qtBytes("png"));
    QImage img = qv::ui::loadPictureDirect("  " + path + " ");
    ASSERT_FALSE(img.isNull());
    EXPECT_EQ(img.size(), QSize(kW, kH));
}

// ---- saving -------------------------------------------------------------------

struct SaveCase {
    const char* fileName;
    PictureFormat written;
    int tolerance;
};

class SaveRoundTrip : public ::testing::TestWithParam<SaveCase> {};

TEST_P(SaveRoundTrip, WritesTheFormatTheNameAsksForAndReadsBack) {
    App();
    qvtest::TempDir dir;
    std::string path = dir.file(GetParam().fileName);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::string why;
    ASSERT_TRUE(qv::ui::savePicture(referenceImage(), path, why)) << why;
    std::string bytes = readFile(path);
    EXPECT_EQ(qv::ui::sniffPicture(bytes), GetParam().written);
    QImage back;
    ASSERT_TRUE(qv::ui::decodePicture(bytes, back, why)) << why;
    EXPECT_EQ(back.size(), QSize(kW, kH));
    for (const Probe& p : kProbes) EXPECT_TRUE(colourNear(back, p, GetParam().tolerance));
}

INSTANTIATE_TEST_SUITE_P(Extensions, SaveRoundTrip,
                         ::testing::Values(SaveCase{"a.bmp", PictureFormat::Bmp, 0},
                                           SaveCase{"b.BMP", PictureFormat::Bmp, 0},
                                           SaveCase{"c.png", PictureFormat::Png, 0},
                                           SaveCase{"d.Png", PictureFormat::Png, 0},
                                           SaveCase{"e.jpg", PictureFormat::Jpeg, 24},
                                           SaveCase{"f.JPEG", PictureFormat::Jpeg, 24},
                                           // The metafile library samples bitmaps between pixels:
                                           // a channel may come back one off.
                                           SaveCase{"g.wmf", PictureFormat::Wmf, 2},
                                           SaveCase{"h.EMF", PictureFormat::Emf, 8},
                                           SaveCase{"i.Pcx", PictureFormat::Pcx, 0},
                                           SaveCase{"noextension", PictureFormat::Bmp, 0},
                                           SaveCase{"unknown.xyz", PictureFormat::Bmp, 0},
                                           SaveCase{"folder.png/noextension", PictureFormat::Bmp, 0}),
                         [](const auto& info) {
                             std::string n;
                             for (char c : std::string(info.param.fileName)) n += std::isalnum(c) ? c : '_';
                             return n;
                         });

TEST(SavePicture, AFolderThatCannotBeWrittenGivesAReasonAndNoFile) {
    App();
    qvtest::TempDir dir;
    std::string why;
    EXPECT_FALSE(qv::ui::savePicture(referenceImage(), dir.file("missing/sub/a.png"), why));
    EXPECT_NE(why.find("cannot write"), std::string::npos) << why;
    EXPECT_FALSE(qv::ui::savePicture(QImage(), dir.file("a.png"), why));
    EXPECT_FALSE(std::ifstream(dir.file("a.png")).good());
}

}  // namespace
