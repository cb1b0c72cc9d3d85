#include "ui/picture_files.h"

#include "app/text.h"
#include "imaging/image_files.h"
#include "imaging/raster.h"
#include "ui/isolated_run.h"
#include "ui/metafile_wmf.h"

#include <FreeImage.h>
#include <emf2svg.h>
#include <zlib.h>

#include <QBuffer>
#include <QByteArray>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

namespace qv::ui {

namespace {

uint16_t le16(std::string_view b, size_t at) {
    return static_cast<uint16_t>(static_cast<uint8_t>(b[at]) | (static_cast<uint8_t>(b[at + 1]) << 8));
}
uint32_t le32(std::string_view b, size_t at) { return le16(b, at) | (static_cast<uint32_t>(le16(b, at + 2)) << 16); }
int32_t le32s(std::string_view b, size_t at) { return static_cast<int32_t>(le32(b, at)); }

bool fail(std::string& why, std::string text) {
    why = std::move(text);
    return false;
}

bool fitsLimits(int64_t w, int64_t h) {
    return w > 0 && h > 0 && w <= kPictureMaxSide && h <= kPictureMaxSide && w * h <= kPictureMaxPixels;
}

std::string tooLarge(PictureFormat f, int64_t w, int64_t h) {
    return std::string(pictureFormatName(f)) + ": the picture is too large (" + std::to_string(w) + " x " +
           std::to_string(h) + " pixels)";
}

// Qt's image and SVG code reports damage through its message log (standard
// error by default). While a picture is decoded those messages are kept
// instead: the first one is the best reason we can give.
class QtMessagesKept {
public:
    QtMessagesKept() {
        first().clear();
        previous_ = qInstallMessageHandler(&QtMessagesKept::keep);
    }
    ~QtMessagesKept() { qInstallMessageHandler(previous_); }
    QtMessagesKept(const QtMessagesKept&) = delete;
    QtMessagesKept& operator=(const QtMessagesKept&) = delete;
    static std::string& first() {
        static std::string text;
        return text;
    }

private:
    static void keep(QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (first().empty() && type != QtDebugMsg && type != QtInfoMsg) first() = message.toStdString();
    }
    QtMessageHandler previous_ = nullptr;
};

// ---- BMP, PNG, JPEG ------------------------------------------------------

// Qt's readers take a cut-off BMP or PCX-like damage for a picture with a
// grey or black rest, and its PNG library reports damage on standard error.
// So the files' structure is checked here first; what passes is handed over.

uint32_t be32(std::string_view b, size_t at) {
    return (static_cast<uint32_t>(static_cast<uint8_t>(b[at])) << 24) |
           (static_cast<uint32_t>(static_cast<uint8_t>(b[at + 1])) << 16) |
           (static_cast<uint32_t>(static_cast<uint8_t>(b[at + 2])) << 8) | static_cast<uint8_t>(b[at + 3]);
}

bool checkBmp(std::string_view b, std::string& why) {
    const uint32_t dataAt = le32(b, 10), header = le32(b, 14);
    int64_t w = 0, h = 0;
    unsigned bits = 0, compression = 0;
    if (header == 12) {
        if (b.size() < 26) return fail(why, "BMP: the file ends inside its header");
        w = le16(b, 18);
        h = le16(b, 20);
        bits = le16(b, 24);
    } else {
        if (b.size() < 34) return fail(why, "BMP: the file ends inside its header");
        w = le32s(b, 18);
        h = std::abs(int64_t{le32s(b, 22)});
        bits = le16(b, 28);
        compression = le32(b, 30);
    }
    if (w <= 0 || h <= 0) return fail(why, "BMP: the picture has no size");
    if (!fitsLimits(w, h)) return fail(why, tooLarge(PictureFormat::Bmp, w, h));
    // Uncompressed and bit-field rows have a known length; run-length coded
    // ones are left to the reader.
    if (compression == 0 || compression == 3) {
        const int64_t row = (w * bits + 31) / 32 * 4;
        if (int64_t{dataAt} + row * h > static_cast<int64_t>(b.size())) return fail(why, "BMP: the file ends early");
    }
    return true;
}

// A JPEG cut short decodes with a grey rest and a mere warning. In coded
// data a 0xFF byte is never followed by a marker code, so the last
// start-of-scan marker is the picture's own, and its end marker must follow.
bool checkJpeg(std::string_view b, std::string& why) {
    const size_t scan = b.rfind("\xFF\xDA");
    if (scan == std::string_view::npos) return fail(why, "JPEG: the file holds no picture data");
    if (b.find("\xFF\xD9", scan + 2) == std::string_view::npos) return fail(why, "JPEG: the file ends early");
    return true;
}

bool checkPng(std::string_view b, std::string& why) {
    size_t at = 8;
    bool first = true;
    while (true) {
        if (b.size() - at < 12) return fail(why, "PNG: the file ends early");
        const uint32_t length = be32(b, at);
        if (length > b.size() - at - 12) return fail(why, "PNG: the file ends early");
        std::string_view type = b.substr(at + 4, 4);
        for (char c : type)
            if (!std::isalpha(static_cast<unsigned char>(c))) return fail(why, "PNG: a chunk is damaged");
        uLong crc = crc32(0L, reinterpret_cast<const Bytef*>(b.data() + at + 4), length + 4);
        if (crc != be32(b, at + 8 + length)) return fail(why, "PNG: chunk " + std::string(type) + " is damaged");
        if (first) {
            if (type != "IHDR" || length < 13) return fail(why, "PNG: the header is damaged");
            const int64_t w = be32(b, at + 8), h = be32(b, at + 12);
            if (!fitsLimits(w, h)) return fail(why, tooLarge(PictureFormat::Png, w, h));
            first = false;
        }
        at += 12 + length;
        if (type == "IEND") return true;
    }
}

bool decodeWithQt(std::string_view bytes, PictureFormat f, QImage& out, std::string& why) {
    if (f == PictureFormat::Bmp && !checkBmp(bytes, why)) return false;
    if (f == PictureFormat::Png && !checkPng(bytes, why)) return false;
    if (f == PictureFormat::Jpeg && !checkJpeg(bytes, why)) return false;
    const char* qtFormat = f == PictureFormat::Bmp ? "bmp" : f == PictureFormat::Png ? "png" : "jpeg";
    QByteArray raw = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&raw);
    buffer.open(QIODevice::ReadOnly);
    QtMessagesKept kept;
    QImageReader reader(&buffer, qtFormat);
    reader.setAutoTransform(false);
    reader.setAllocationLimit(static_cast<int>((kPictureMaxPixels * 4 >> 20) + 16));
    QSize size = reader.size();
    if (size.isValid() && !fitsLimits(size.width(), size.height())) {
        why = tooLarge(f, size.width(), size.height());
        return false;
    }
    QImage image;
    if (!reader.read(&image) || image.isNull()) {
        std::string detail = QtMessagesKept::first();
        if (detail.empty()) detail = reader.errorString().toStdString();
        why = std::string(pictureFormatName(f)) + ": the picture is damaged (" + detail + ")";
        return false;
    }
    if (!fitsLimits(image.width(), image.height())) {
        why = tooLarge(f, image.width(), image.height());
        return false;
    }
    out = std::move(image);
    return true;
}

// ---- pixels handed back by a decoder in a child process ---------------------

// The foreign decoders (metafile, EMF conversion, PCX) run isolated: a file
// that crashes or hangs them costs this picture only. Pixels come back as
// width, height and 0xAARRGGBB rows.
constexpr int kIsolatedTimeoutMs = 5000;
constexpr size_t kPixelRoom = 8 + static_cast<size_t>(kPictureMaxPixels) * 4;

uint32_t* pixelCanvas(IsolatedRun& out, int w, int h) {
    if (w < 1 || h < 1 || !fitsLimits(w, h) || 8 + size_t(w) * size_t(h) * 4 > out.capacity()) return nullptr;
    const int32_t dims[2] = {w, h};
    std::memcpy(out.data(), dims, sizeof dims);
    return reinterpret_cast<uint32_t*>(out.data() + 8);
}

bool imageFromPixels(IsolatedRun& run, PictureFormat f, QImage& out, std::string& why) {
    int32_t dims[2] = {0, 0};
    if (run.used() >= 8) std::memcpy(dims, run.data(), sizeof dims);
    const int w = dims[0], h = dims[1];
    if (!fitsLimits(w, h) || run.used() < 8 + size_t(w) * size_t(h) * 4) {
        why = std::string(pictureFormatName(f)) + ": the decoder gave no picture";
        return false;
    }
    QImage image(w, h, QImage::Format_RGB32);
    if (image.isNull()) {
        why = std::string(pictureFormatName(f)) + ": no memory for the picture";
        return false;
    }
    const auto* src = reinterpret_cast<const uint32_t*>(run.data() + 8);
    for (int y = 0; y < h; ++y) std::memcpy(image.scanLine(y), src + size_t(y) * size_t(w), size_t(w) * 4);
    out = std::move(image);
    return true;
}

std::string prefixed(PictureFormat f, const std::string& why) {
    const std::string name = pictureFormatName(f);
    return why.rfind(name + ":", 0) == 0 ? why : name + ": " + why;
}

// ---- WMF -----------------------------------------------------------------

bool decodeWmf(std::string_view bytes, QImage& out, std::string& why) {
    IsolatedRun run(kPixelRoom);
    auto work = [bytes](IsolatedRun& shared, size_t& used, std::string& reason) {
        WmfLimits limits;
        limits.maxSide = kPictureMaxSide;
        limits.maxPixels = kPictureMaxPixels;
        int width = 0, height = 0;
        auto canvas = [&](int w, int h, int& stride) {
            width = w;
            height = h;
            stride = w;
            return pixelCanvas(shared, w, h);
        };
        if (!renderWmf(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), limits, canvas, reason))
            return false;
        used = 8 + size_t(width) * size_t(height) * 4;
        return true;
    };
    if (!run.run(kIsolatedTimeoutMs, work, why)) {
        why = prefixed(PictureFormat::Wmf, why);
        return false;
    }
    return imageFromPixels(run, PictureFormat::Wmf, out, why);
}

// ---- EMF -----------------------------------------------------------------

constexpr uint32_t kEmrHeader = 1, kEmrEof = 14;
constexpr size_t kEmfMaxRecords = 4u << 20;
constexpr size_t kEmfMaxSvgBytes = size_t{256} << 20;

// The converter trusts the record chain, so we walk it first: every record
// whole inside the file, sizes a multiple of four, one header in front and
// an end record. Gives the picture's bounds (inclusive device pixels).
bool checkEmf(std::string_view b, int64_t& left, int64_t& top, int64_t& width, int64_t& height,
              std::string& why) {
    if (b.size() < 88) {
        why = "EMF: the file ends inside its header";
        return false;
    }
    uint32_t headerSize = le32(b, 4);
    if (headerSize < 88 || headerSize % 4 || headerSize > b.size()) {
        why = "EMF: the header is damaged";
        return false;
    }
    left = le32s(b, 8);
    top = le32s(b, 12);
    width = int64_t{le32s(b, 16)} - left + 1;
    height = int64_t{le32s(b, 20)} - top + 1;
    if (width < 2 || height < 2) {
        why = "EMF: the picture has no size";
        return false;
    }
    size_t at = 0, records = 0;
    while (true) {
        if (b.size() - at < 8) {
            why = "EMF: the file ends early";
            return false;
        }
        uint32_t type = le32(b, at), size = le32(b, at + 4);
        if (size < 8 || size % 4 || size > b.size() - at || (records == 0) != (type == kEmrHeader) ||
            ++records > kEmfMaxRecords) {
            why = "EMF: record " + std::to_string(records) + " is damaged";
            return false;
        }
        at += size;
        if (type == kEmrEof) return true;
    }
}

bool decodeEmf(std::string_view bytes, QImage& out, std::string& why) {
    int64_t left = 0, top = 0, width = 0, height = 0;
    if (!checkEmf(bytes, left, top, width, height, why)) return false;
    double scale = std::min({1.0, double(kPictureMaxSide) / double(width), double(kPictureMaxSide) / double(height),
                             std::sqrt(double(kPictureMaxPixels) / (double(width) * double(height)))});
    int w = std::max(1, static_cast<int>(double(width) * scale));
    int h = std::max(1, static_cast<int>(double(height) * scale));

    generatorOptions options{};
    char noNamespace[] = "";
    options.nameSpace = noNamespace;
    options.verbose = false;
    options.emfplus = true;
    options.svgDelimiter = true;
    if (scale < 1.0) {  // the converter scales the bounds' span to this width
        options.imgWidth = double(width - 1) * scale;
        options.imgHeight = double(height - 1) * scale;
    }
    // The converter runs isolated; its SVG text comes back.
    IsolatedRun run(kEmfMaxSvgBytes);
    auto work = [&](IsolatedRun& shared, size_t& used, std::string& reason) {
        std::string copy(bytes);  // the converter takes a writable buffer
        char* svg = nullptr;
        size_t svgSize = 0;
        const int ok = emf2svg(copy.data(), copy.size(), &svg, &svgSize, &options);
        if (!ok || !svg || svgSize == 0 || svgSize > shared.capacity()) {
            reason = svgSize > shared.capacity() ? "the drawing is too complex" : "the metafile could not be converted";
            std::free(svg);
            return false;
        }
        std::memcpy(shared.data(), svg, svgSize);
        std::free(svg);
        used = svgSize;
        return true;
    };
    if (!run.run(kIsolatedTimeoutMs, work, why)) {
        why = prefixed(PictureFormat::Emf, why);
        return false;
    }
    const QByteArray document(reinterpret_cast<const char*>(run.data()), static_cast<qsizetype>(run.used()));
    QtMessagesKept kept;
    QSvgRenderer renderer(document);
    if (!renderer.isValid()) {
        why = "EMF: the converted drawing is damaged";
        if (!QtMessagesKept::first().empty()) why += " (" + QtMessagesKept::first() + ")";
        return false;
    }
    QImage image(w, h, QImage::Format_RGB32);
    if (image.isNull()) {
        why = "EMF: no memory for the picture";
        return false;
    }
    image.fill(Qt::white);
    // One SVG unit a pixel: the drawing's own size is the canvas.
    renderer.setViewBox(QRectF(0, 0, w, h));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, w, h));
    painter.end();
    out = std::move(image);
    return true;
}

// ---- PCX -----------------------------------------------------------------

std::string& freeImageMessage() {
    static std::string text;
    return text;
}

void keepFreeImageMessage(FREE_IMAGE_FORMAT, const char* message) {
    if (freeImageMessage().empty() && message) freeImageMessage() = message;
}

// The decoder fills a short file's missing lines with black; here a file
// must hold every line (run-length coded or plain) and, for 256 colours,
// the palette at its end.
bool checkPcxData(std::string_view b, int64_t needed, bool palette, std::string& why) {
    size_t end = b.size();
    if (palette) {
        if (end < 128 + 769 || static_cast<uint8_t>(b[end - 769]) != 0x0C)
            return fail(why, "PCX: the palette is missing");
        end -= 769;
    }
    if (b[2] == 0) {
        if (128 + needed > static_cast<int64_t>(end)) return fail(why, "PCX: the file ends early");
        return true;
    }
    int64_t produced = 0;
    for (size_t at = 128; produced < needed; ++at) {
        if (at >= end) return fail(why, "PCX: the file ends early");
        const uint8_t c = static_cast<uint8_t>(b[at]);
        if (c >= 0xC0) {
            if (++at >= end) return fail(why, "PCX: the file ends early");
            produced += c & 0x3F;
        } else {
            ++produced;
        }
    }
    return true;
}

bool decodePcx(std::string_view bytes, QImage& out, std::string& why) {
    // The header is checked here, so the decoder never sizes a bitmap from
    // a damaged one.
    int64_t w = int64_t{le16(bytes, 8)} - le16(bytes, 4) + 1;
    int64_t h = int64_t{le16(bytes, 10)} - le16(bytes, 6) + 1;
    unsigned planes = static_cast<uint8_t>(bytes[65]);
    unsigned bits = static_cast<uint8_t>(bytes[3]);
    int64_t perLine = le16(bytes, 66);
    if (w < 1 || h < 1) {
        why = "PCX: the picture has no size";
        return false;
    }
    if (!fitsLimits(w, h)) {
        why = tooLarge(PictureFormat::Pcx, w, h);
        return false;
    }
    if (planes < 1 || planes > 4 || perLine * 8 < w * bits || perLine > 4 * kPictureMaxSide) {
        why = "PCX: the header is damaged";
        return false;
    }
    if (!checkPcxData(bytes, h * planes * perLine, bits == 8 && planes == 1, why)) return false;
    IsolatedRun run(kPixelRoom);
    auto work = [bytes](IsolatedRun& shared, size_t& used, std::string& reason) {
        FreeImage_SetOutputMessage(keepFreeImageMessage);
        // The memory stream only reads.
        FIMEMORY* stream = FreeImage_OpenMemory(reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data())),
                                                static_cast<DWORD>(bytes.size()));
        FIBITMAP* loaded = stream ? FreeImage_LoadFromMemory(FIF_PCX, stream, 0) : nullptr;
        if (stream) FreeImage_CloseMemory(stream);
        FIBITMAP* rgba = loaded ? FreeImage_ConvertTo32Bits(loaded) : nullptr;
        if (loaded) FreeImage_Unload(loaded);
        const int w = rgba ? static_cast<int>(FreeImage_GetWidth(rgba)) : 0;
        const int h = rgba ? static_cast<int>(FreeImage_GetHeight(rgba)) : 0;
        uint32_t* dst = rgba ? pixelCanvas(shared, w, h) : nullptr;
        if (!dst) {
            if (rgba) FreeImage_Unload(rgba);
            reason = "the picture is damaged";
            if (!freeImageMessage().empty()) reason += " (" + freeImageMessage() + ")";
            return false;
        }
        // 32-bit bitmaps hold 0xAARRGGBB words here, the bottom line first.
        for (int y = 0; y < h; ++y, dst += w) {
            const auto* src = reinterpret_cast<const uint32_t*>(FreeImage_GetScanLine(rgba, h - 1 - y));
            for (int x = 0; x < w; ++x) dst[x] = 0xFF000000u | src[x];
        }
        FreeImage_Unload(rgba);
        used = 8 + size_t(w) * size_t(h) * 4;
        return true;
    };
    if (!run.run(kIsolatedTimeoutMs, work, why)) {
        why = prefixed(PictureFormat::Pcx, why);
        return false;
    }
    return imageFromPixels(run, PictureFormat::Pcx, out, why);
}

std::string lowerExtension(const std::string& path) {
    size_t slash = path.find_last_of('/');
    size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    return app::ToLowerAscii(path.substr(dot + 1));
}

bool writeAtomically(const std::string& path, const char* data, size_t size, std::string& why) {
    QSaveFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(data, static_cast<qint64>(size)) != static_cast<qint64>(size)) {
        why = "cannot write " + path + ": " + file.errorString().toStdString();
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        why = "cannot write " + path + ": " + file.errorString().toStdString();
        return false;
    }
    return true;
}

bool saveWithQt(const QImage& picture, const std::string& path, const char* format, std::string& why) {
    // Instruments' pictures are opaque; formats without alpha get it flattened.
    QImage image = picture.hasAlphaChannel() && std::strcmp(format, "png") != 0
                       ? picture.convertToFormat(QImage::Format_RGB32)
                       : picture;
    // Encoded in memory first, so that a failed encoding leaves no file.
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (std::strcmp(format, "jpeg") == 0) writer.setQuality(90);
    if (!writer.write(image)) {
        why = "cannot write " + path + ": " + writer.errorString().toStdString();
        return false;
    }
    return writeAtomically(path, bytes.constData(), size_t(bytes.size()), why);
}

// Metafiles and PCX come from the program's own writers, which take an
// RGB raster.
bool saveWithImaging(const QImage& picture, const std::string& path, const std::string& ext, std::string& why) {
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB888);
    imaging::Raster raster;
    if (rgb.isNull() || !raster.reset(rgb.width(), rgb.height())) {
        why = "the picture is too large to save as " + app::ToUpperAscii(ext);
        return false;
    }
    const size_t row = static_cast<size_t>(rgb.width()) * 3;
    for (int y = 0; y < rgb.height(); ++y) std::memcpy(&raster.rgb[row * static_cast<size_t>(y)], rgb.constScanLine(y), row);
    std::vector<uint8_t> bytes;
    const bool made = ext == "wmf"   ? imaging::writeWmf(raster, bytes)
                      : ext == "emf" ? imaging::writeEmf(raster, bytes)
                                     : imaging::writePcx(raster, bytes);
    if (!made) {
        why = "the picture could not be written as " + app::ToUpperAscii(ext);
        return false;
    }
    return writeAtomically(path, reinterpret_cast<const char*>(bytes.data()), bytes.size(), why);
}

}  // namespace

PictureFormat sniffPicture(std::string_view b) {
    const size_t n = b.size();
    auto at = [&](size_t i) { return static_cast<uint8_t>(b[i]); };
    if (n >= 8 && b.substr(0, 8) == std::string_view("\x89PNG\r\n\x1a\n", 8)) return PictureFormat::Png;
    if (n >= 3 && at(0) == 0xFF && at(1) == 0xD8 && at(2) == 0xFF) return PictureFormat::Jpeg;
    if (n >= 18 && b[0] == 'B' && b[1] == 'M') {
        uint32_t dib = le32(b, 14);
        if (dib == 12 || dib == 16 || dib == 40 || dib == 52 || dib == 56 || dib == 64 || dib == 108 || dib == 124)
            return PictureFormat::Bmp;
    }
    if (n >= 22 && le32(b, 0) == 0x9AC6CDD7u) return PictureFormat::Wmf;
    if (n >= 18 && (le16(b, 0) == 1 || le16(b, 0) == 2) && le16(b, 2) == 9 &&
        (le16(b, 4) == 0x0100 || le16(b, 4) == 0x0300))
        return PictureFormat::Wmf;
    if (n >= 44 && le32(b, 0) == kEmrHeader && le32(b, 40) == 0x464D4520u) return PictureFormat::Emf;
    if (n >= 128 && at(0) == 0x0A && at(1) <= 5 && at(1) != 1 && at(2) <= 1 &&
        (at(3) == 1 || at(3) == 2 || at(3) == 4 || at(3) == 8))
        return PictureFormat::Pcx;
    return PictureFormat::Unknown;
}

const char* pictureFormatName(PictureFormat f) {
    switch (f) {
        case PictureFormat::Bmp: return "BMP";
        case PictureFormat::Png: return "PNG";
        case PictureFormat::Jpeg: return "JPEG";
        case PictureFormat::Wmf: return "WMF";
        case PictureFormat::Emf: return "EMF";
        case PictureFormat::Pcx: return "PCX";
        case PictureFormat::Unknown: break;
    }
    return "unknown";
}

bool decodePicture(std::string_view bytes, QImage& out, std::string& why) {
    if (bytes.empty()) {
        why = "the file is empty";
        return false;
    }
    if (static_cast<int64_t>(bytes.size()) > kPictureMaxFileBytes) {
        why = "the file is too large for a picture";
        return false;
    }
    PictureFormat f = sniffPicture(bytes);
    switch (f) {
        case PictureFormat::Bmp:
        case PictureFormat::Png:
        case PictureFormat::Jpeg: return decodeWithQt(bytes, f, out, why);
        case PictureFormat::Wmf: return decodeWmf(bytes, out, why);
        case PictureFormat::Emf: return decodeEmf(bytes, out, why);
        case PictureFormat::Pcx: return decodePcx(bytes, out, why);
        case PictureFormat::Unknown: break;
    }
    why = "the file is no picture of a known format (BMP, WMF, EMF, PNG, JPEG, PCX)";
    return false;
}

bool loadPicture(const std::string& path, QImage& out, std::string& why) {
    struct stat st{};
    if (path.empty() || ::stat(path.c_str(), &st) != 0) {
        why = "the file " + path + " does not exist";
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        why = path + " is not a file";
        return false;
    }
    if (st.st_size > kPictureMaxFileBytes) {
        why = "the file " + path + " is too large for a picture";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    std::string bytes(static_cast<size_t>(st.st_size), '\0');
    if (!in || !in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        why = "the file " + path + " cannot be read";
        return false;
    }
    return decodePicture(bytes, out, why);
}

QImage loadPictureDirect(const std::string& path) {
    QImage image;
    std::string ignored;
    if (!loadPicture(app::TrimBlanks(path), image, ignored)) return {};
    return image;
}

bool savePicture(const QImage& picture, const std::string& path, std::string& why) {
    if (picture.isNull()) {
        why = "there is no picture to save";
        return false;
    }
    const std::string ext = lowerExtension(path);
    if (ext == "jpg" || ext == "jpeg") return saveWithQt(picture, path, "jpeg", why);
    if (ext == "png") return saveWithQt(picture, path, "png", why);
    if (ext == "wmf" || ext == "emf" || ext == "pcx") return saveWithImaging(picture, path, ext, why);
    return saveWithQt(picture, path, "bmp", why);
}

}  // namespace qv::ui
