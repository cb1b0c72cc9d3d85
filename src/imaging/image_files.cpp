#include "imaging/image_files.h"

#include <FreeImage.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "imaging/bytes.h"
#include "imaging/metafile.h"

namespace qv::imaging {

namespace {

using namespace bytes;

uint32_t key(const uint8_t* p) { return uint32_t(p[0]) << 16 | uint32_t(p[1]) << 8 | p[2]; }

// The raster's colours in order of first appearance and each pixel's index;
// false when there are more than maxColors.
bool indexColors(const Raster& r, size_t maxColors, std::vector<uint32_t>& palette, std::vector<uint8_t>& index) {
    std::unordered_map<uint32_t, uint8_t> seen;
    palette.clear();
    index.resize(size_t(r.width) * size_t(r.height));
    for (size_t i = 0; i < index.size(); ++i) {
        uint32_t k = key(&r.rgb[i * 3]);
        auto it = seen.find(k);
        if (it == seen.end()) {
            if (palette.size() == maxColors) return false;
            it = seen.emplace(k, uint8_t(palette.size())).first;
            palette.push_back(k);
        }
        index[i] = it->second;
    }
    return true;
}

bool saveThroughFreeImage(const Raster& r, FREE_IMAGE_FORMAT format, int flags, std::vector<uint8_t>& out) {
    const bool grey = r.greyOnly();
    const int bpp = grey ? 8 : 24;
    const int pitch = ((r.width * bpp / 8) + 3) & ~3;
    std::vector<uint8_t> bits(size_t(pitch) * size_t(r.height));
    for (int y = 0; y < r.height; ++y) {
        const uint8_t* src = &r.rgb[size_t(y) * size_t(r.width) * 3];
        uint8_t* dst = &bits[size_t(y) * size_t(pitch)];
        for (int x = 0; x < r.width; ++x, src += 3) {
            if (grey) {
                *dst++ = src[0];
            } else {
                dst[FI_RGBA_RED] = src[0];
                dst[FI_RGBA_GREEN] = src[1];
                dst[FI_RGBA_BLUE] = src[2];
                dst += 3;
            }
        }
    }
    FIBITMAP* dib = FreeImage_ConvertFromRawBits(bits.data(), r.width, r.height, pitch, unsigned(bpp),
                                                 FI_RGBA_RED_MASK, FI_RGBA_GREEN_MASK, FI_RGBA_BLUE_MASK, TRUE);
    if (!dib) return false;
    if (grey) {
        // An 8-bit picture is only grey through its palette.
        RGBQUAD* pal = FreeImage_GetPalette(dib);
        for (int i = 0; pal && i < 256; ++i) pal[i].rgbRed = pal[i].rgbGreen = pal[i].rgbBlue = BYTE(i);
    }
    bool ok = false;
    if (FIMEMORY* mem = FreeImage_OpenMemory(nullptr, 0)) {
        if (FreeImage_SaveToMemory(format, dib, mem, flags)) {
            BYTE* data = nullptr;
            DWORD size = 0;
            if (FreeImage_AcquireMemory(mem, &data, &size) && data && size > 0) {
                out.assign(data, data + size);
                ok = true;
            }
        }
        FreeImage_CloseMemory(mem);
    }
    FreeImage_Unload(dib);
    return ok;
}

// One scan line of a PCX plane: runs of up to 63 equal bytes; a single byte
// below 0xC0 stands for itself.
void pcxEncode(const uint8_t* p, size_t n, std::vector<uint8_t>& out) {
    size_t i = 0;
    while (i < n) {
        uint8_t b = p[i];
        size_t run = 1;
        while (i + run < n && run < 63 && p[i + run] == b) ++run;
        if (run > 1 || b >= 0xC0) out.push_back(uint8_t(0xC0 | run));
        out.push_back(b);
        i += run;
    }
}

}  // namespace

size_t countColors(const Raster& r, size_t limit) {
    if (!r.valid()) return 0;
    std::unordered_map<uint32_t, bool> seen;
    for (size_t i = 0; i + 2 < r.rgb.size() && seen.size() <= limit; i += 3) seen.emplace(key(&r.rgb[i]), true);
    return seen.size();
}

bool writeBmp(const Raster& r, std::vector<uint8_t>& out, int bitsPerPixel) {
    out.clear();
    if (!r.valid() || (bitsPerPixel != 24 && bitsPerPixel != 8 && bitsPerPixel != 4)) return false;
    std::vector<uint32_t> palette;
    std::vector<uint8_t> index;
    if (bitsPerPixel < 24 && !indexColors(r, size_t(1) << bitsPerPixel, palette, index)) return false;
    const uint32_t stride = ((uint32_t(r.width) * uint32_t(bitsPerPixel) + 31) / 32) * 4;
    const uint32_t imageSize = stride * uint32_t(r.height);
    const uint32_t paletteBytes = bitsPerPixel < 24 ? (uint32_t(1) << bitsPerPixel) * 4 : 0;
    const uint32_t offset = 14 + 40 + paletteBytes;
    out.reserve(offset + imageSize);
    out.push_back('B');
    out.push_back('M');
    u32(out, offset + imageSize);
    u32(out, 0);
    u32(out, offset);
    bitmapInfoHeader(out, r.width, r.height, bitsPerPixel, imageSize, paletteBytes / 4);
    for (uint32_t i = 0; i < paletteBytes / 4; ++i) {
        uint32_t k = i < palette.size() ? palette[i] : 0;
        u8(out, k & 0xFF);
        u8(out, (k >> 8) & 0xFF);
        u8(out, k >> 16);
        u8(out, 0);
    }
    for (int y = r.height - 1; y >= 0; --y) {
        size_t rowStart = out.size();
        for (int x = 0; x < r.width; ++x) {
            size_t i = size_t(y) * size_t(r.width) + size_t(x);
            if (bitsPerPixel == 24) {
                out.push_back(r.rgb[i * 3 + 2]);
                out.push_back(r.rgb[i * 3 + 1]);
                out.push_back(r.rgb[i * 3]);
            } else if (bitsPerPixel == 8) {
                out.push_back(index[i]);
            } else if (x % 2 == 0) {
                out.push_back(uint8_t(index[i] << 4));
            } else {
                out.back() |= index[i];
            }
        }
        out.resize(rowStart + stride, 0);
    }
    return true;
}

bool writePcx(const Raster& r, std::vector<uint8_t>& out) {
    out.clear();
    if (!r.valid() || r.width > 65535 || r.height > 65535) return false;
    std::vector<uint32_t> palette;
    std::vector<uint8_t> index;
    const bool indexed = indexColors(r, 256, palette, index);
    const int planes = indexed ? 1 : 3;
    const unsigned bytesPerLine = (unsigned(r.width) + 1) & ~1u;  // even, as readers expect
    out.reserve(128 + size_t(r.height) * bytesPerLine + 769);
    u8(out, 10);  // manufacturer
    u8(out, 5);   // version 3.0 and later, with a 256-colour palette
    u8(out, 1);   // run-length encoding
    u8(out, 8);   // bits per pixel and plane
    u16(out, 0);
    u16(out, 0);
    u16(out, unsigned(r.width - 1));
    u16(out, unsigned(r.height - 1));
    u16(out, 96);
    u16(out, 96);
    out.resize(out.size() + 48, 0);  // 16-colour palette, unused
    u8(out, 0);
    u8(out, unsigned(planes));
    u16(out, bytesPerLine);
    u16(out, r.greyOnly() ? 2 : 1);
    u16(out, 0);
    u16(out, 0);
    out.resize(128, 0);
    std::vector<uint8_t> line(bytesPerLine, 0);
    for (int y = 0; y < r.height; ++y) {
        for (int plane = 0; plane < planes; ++plane) {
            for (int x = 0; x < r.width; ++x) {
                size_t i = size_t(y) * size_t(r.width) + size_t(x);
                line[size_t(x)] = indexed ? index[i] : r.rgb[i * 3 + size_t(plane)];
            }
            pcxEncode(line.data(), line.size(), out);
        }
    }
    if (indexed) {
        u8(out, 0x0C);
        for (size_t i = 0; i < 256; ++i) {
            uint32_t k = i < palette.size() ? palette[i] : 0;
            u8(out, k >> 16);
            u8(out, (k >> 8) & 0xFF);
            u8(out, k & 0xFF);
        }
    }
    return true;
}

bool writePng(const Raster& r, std::vector<uint8_t>& out) {
    out.clear();
    // Screens are flat areas and lines: the fastest compression is small enough.
    return r.valid() && saveThroughFreeImage(r, FIF_PNG, PNG_Z_BEST_SPEED, out);
}

bool writeJpeg(const Raster& r, std::vector<uint8_t>& out, int quality) {
    out.clear();
    // Full chroma resolution: coloured lines one pixel wide stay coloured.
    return r.valid() && saveThroughFreeImage(r, FIF_JPEG, std::clamp(quality, 1, 100) | JPEG_SUBSAMPLING_444, out);
}

bool writeWmf(const Raster& r, std::vector<uint8_t>& out) {
    out.clear();
    if (!r.valid()) return false;
    WmfWriter w(r.width, r.height);
    if (!w.stretchDib(r, 0, 0, r.width, r.height)) return false;
    out = w.finish();
    return true;
}

bool writeEmf(const Raster& r, std::vector<uint8_t>& out) {
    out.clear();
    if (!r.valid()) return false;
    EmfWriter w(r.width, r.height);
    if (!w.stretchDibits(r, 0, 0, r.width, r.height)) return false;
    out = w.finish();
    return true;
}

}  // namespace qv::imaging
