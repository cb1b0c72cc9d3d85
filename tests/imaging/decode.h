// Reading back what the image writers make, with decoders that are not
// ours: FreeImage for bitmaps, libemf2svg for EMF, and a record walker that
// checks a WMF's structure. Shared with the simulator's tests.
#pragma once

#include <FreeImage.h>
#include <emf2svg.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "imaging/raster.h"

namespace qvimagetest {

inline uint16_t le16(const std::vector<uint8_t>& v, size_t at) { return uint16_t(v[at] | (v[at + 1] << 8)); }
inline uint32_t le32(const std::vector<uint8_t>& v, size_t at) {
    return uint32_t(v[at]) | uint32_t(v[at + 1]) << 8 | uint32_t(v[at + 2]) << 16 | uint32_t(v[at + 3]) << 24;
}

// Decodes a bitmap file of any format FreeImage knows into RGB888.
// format: what FreeImage recognised (FIF_UNKNOWN on failure).
inline bool decodeRaster(const std::vector<uint8_t>& bytes, qv::imaging::Raster& out, FREE_IMAGE_FORMAT& format) {
    format = FIF_UNKNOWN;
    FIMEMORY* mem = FreeImage_OpenMemory(const_cast<BYTE*>(bytes.data()), DWORD(bytes.size()));
    if (!mem) return false;
    format = FreeImage_GetFileTypeFromMemory(mem, 0);
    FIBITMAP* dib = format == FIF_UNKNOWN ? nullptr : FreeImage_LoadFromMemory(format, mem, 0);
    FreeImage_CloseMemory(mem);
    if (!dib) return false;
    FIBITMAP* rgb = FreeImage_ConvertTo24Bits(dib);
    FreeImage_Unload(dib);
    if (!rgb) return false;
    bool ok = out.reset(int(FreeImage_GetWidth(rgb)), int(FreeImage_GetHeight(rgb)));
    for (int y = 0; ok && y < out.height; ++y) {
        // FreeImage keeps rows bottom-up.
        const BYTE* line = FreeImage_GetScanLine(rgb, out.height - 1 - y);
        for (int x = 0; x < out.width; ++x)
            out.setPixel(x, y, {line[x * 3 + FI_RGBA_RED], line[x * 3 + FI_RGBA_GREEN], line[x * 3 + FI_RGBA_BLUE]});
    }
    FreeImage_Unload(rgb);
    return ok;
}

struct MetaRecord {
    uint32_t type = 0;    // WMF function or EMF type
    size_t offset = 0;    // of the record in the file
    size_t size = 0;      // bytes
};

struct WmfInfo {
    int width = 0, height = 0;  // placeable bounding box
    uint16_t objects = 0;
    std::vector<MetaRecord> records;
};

// Walks a placeable WMF: key and checksum, the META header, records whose
// sizes add up to the header's file size, the largest record, META_EOF last.
inline bool walkWmf(const std::vector<uint8_t>& f, WmfInfo& info, std::string& why) {
    if (f.size() < 22 + 18 + 6) return why = "too short", false;
    if (le32(f, 0) != 0x9AC6CDD7) return why = "no placeable key", false;
    uint16_t sum = 0;
    for (size_t i = 0; i < 20; i += 2) sum ^= le16(f, i);
    if (sum != le16(f, 20)) return why = "placeable checksum", false;
    info.width = int16_t(le16(f, 10)) - int16_t(le16(f, 6));
    info.height = int16_t(le16(f, 12)) - int16_t(le16(f, 8));
    const size_t h = 22;
    if (le16(f, h) != 1 || le16(f, h + 2) != 9 || le16(f, h + 4) != 0x0300) return why = "META header", false;
    const uint64_t fileWords = le32(f, h + 6);
    info.objects = le16(f, h + 10);
    const uint32_t maxRecord = le32(f, h + 12);
    if (fileWords * 2 != f.size() - h) return why = "header size " + std::to_string(fileWords * 2), false;
    size_t at = h + 18;
    uint32_t largest = 0;
    while (at < f.size()) {
        if (at + 6 > f.size()) return why = "record header cut", false;
        uint64_t words = le32(f, at);
        if (words < 3 || at + words * 2 > f.size()) return why = "record size at " + std::to_string(at), false;
        info.records.push_back({le16(f, at + 4), at, size_t(words * 2)});
        largest = std::max<uint32_t>(largest, uint32_t(words));
        at += words * 2;
    }
    if (info.records.empty() || info.records.back().type != 0 || info.records.back().size != 6)
        return why = "META_EOF not last", false;
    if (largest != maxRecord) return why = "max record", false;
    return true;
}

struct EmfInfo {
    int boundsRight = 0, boundsBottom = 0;
    uint16_t handles = 0;
    std::vector<MetaRecord> records;
};

// Walks an EMF: EMR_HEADER with the signature, 4-byte aligned records whose
// count and total size the header states, EMR_EOF last.
inline bool walkEmf(const std::vector<uint8_t>& f, EmfInfo& info, std::string& why) {
    if (f.size() < 108) return why = "too short", false;
    if (le32(f, 0) != 1 || le32(f, 40) != 0x464D4520) return why = "header", false;
    if (le32(f, 48) != f.size()) return why = "nBytes", false;
    info.boundsRight = int32_t(le32(f, 16));
    info.boundsBottom = int32_t(le32(f, 20));
    info.handles = le16(f, 56);
    size_t at = 0;
    while (at < f.size()) {
        if (at + 8 > f.size()) return why = "record header cut", false;
        uint64_t size = le32(f, at + 4);
        if (size < 8 || size % 4 || at + size > f.size()) return why = "record size at " + std::to_string(at), false;
        info.records.push_back({le32(f, at), at, size_t(size)});
        at += size;
    }
    if (info.records.size() != le32(f, 52)) return why = "nRecords", false;
    if (info.records.back().type != 14) return why = "EMR_EOF not last", false;
    return true;
}

inline bool emfToSvg(const std::vector<uint8_t>& f, std::string& svg) {
    generatorOptions opt{};
    char ns[] = "";
    opt.nameSpace = ns;
    opt.svgDelimiter = true;
    opt.imgWidth = 0;
    opt.imgHeight = 0;
    char* out = nullptr;
    size_t len = 0;
    std::vector<char> copy(f.begin(), f.end());
    int ok = emf2svg(copy.data(), copy.size(), &out, &len, &opt);
    if (out) svg.assign(out, len);
    free(out);
    return ok != 0 && !svg.empty();
}

// Colours a metafile names (pens, brushes, text), as 0x00BBGGRR.
inline std::vector<uint32_t> wmfColors(const std::vector<uint8_t>& f, const WmfInfo& info) {
    std::vector<uint32_t> out;
    for (const auto& r : info.records) {
        size_t p = r.offset + 6;
        if (r.type == 0x02FA) out.push_back(le32(f, p + 6));
        if (r.type == 0x02FC) out.push_back(le32(f, p + 2));
        if (r.type == 0x0209) out.push_back(le32(f, p));
    }
    return out;
}
inline std::vector<uint32_t> emfColors(const std::vector<uint8_t>& f, const EmfInfo& info) {
    std::vector<uint32_t> out;
    for (const auto& r : info.records) {
        size_t p = r.offset + 8;
        if (r.type == 38) out.push_back(le32(f, p + 16));
        if (r.type == 39) out.push_back(le32(f, p + 8));
        if (r.type == 24) out.push_back(le32(f, p));
    }
    return out;
}
inline bool colorRefGrey(uint32_t c) { return (c & 0xFF) == ((c >> 8) & 0xFF) && (c & 0xFF) == ((c >> 16) & 0xFF); }

}  // namespace qvimagetest
