// The two conversions a hardcopy makes of what the instrument sent.
#pragma once

#include <string>

namespace qv::hardcopy {

// Puts the ten bytes a pixmap answer lacks in front of it: "BM" and eight
// zero bytes (file size and the two reserved words). False when the file
// cannot be read or written; the file is then left as it was.
bool completePixmap(const std::string& file);

// Loads a PNG and saves it as a JPEG (default quality). False when the PNG
// cannot be decoded or the JPEG not written; no JPEG file is then left.
bool convertPngToJpeg(const std::string& pngFile, const std::string& jpegFile);

}  // namespace qv::hardcopy
