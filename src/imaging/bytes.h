// Little-endian byte building for the file writers.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace qv::imaging::bytes {

inline void u8(std::vector<uint8_t>& v, unsigned x) { v.push_back(uint8_t(x)); }
inline void u16(std::vector<uint8_t>& v, unsigned x) {
    v.push_back(uint8_t(x));
    v.push_back(uint8_t(x >> 8));
}
inline void u32(std::vector<uint8_t>& v, uint32_t x) {
    for (int i = 0; i < 4; ++i) v.push_back(uint8_t(x >> (8 * i)));
}
inline void i16(std::vector<uint8_t>& v, int x) { u16(v, uint16_t(int16_t(x))); }
inline void i32(std::vector<uint8_t>& v, int x) { u32(v, uint32_t(x)); }
inline void put32(std::vector<uint8_t>& v, size_t at, uint32_t x) {
    for (int i = 0; i < 4; ++i) v[at + size_t(i)] = uint8_t(x >> (8 * i));
}
inline void put16(std::vector<uint8_t>& v, size_t at, unsigned x) {
    v[at] = uint8_t(x);
    v[at + 1] = uint8_t(x >> 8);
}
inline uint32_t colorRef(uint8_t r, uint8_t g, uint8_t b) { return r | (uint32_t(g) << 8) | (uint32_t(b) << 16); }

// BITMAPINFOHEADER (40 bytes) of a bottom-up DIB.
inline void bitmapInfoHeader(std::vector<uint8_t>& v, int w, int h, int bits, uint32_t imageSize,
                             uint32_t colorsUsed) {
    u32(v, 40);
    i32(v, w);
    i32(v, h);
    u16(v, 1);
    u16(v, unsigned(bits));
    u32(v, 0);  // BI_RGB
    u32(v, imageSize);
    u32(v, 3780);  // 96 dpi in pixels per metre
    u32(v, 3780);
    u32(v, colorsUsed);
    u32(v, 0);
}

}  // namespace qv::imaging::bytes
