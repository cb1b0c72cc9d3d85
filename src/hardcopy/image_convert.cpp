#include "hardcopy/image_convert.h"

#include "app/standard.h"

#include <FreeImage.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

namespace qv::hardcopy {

namespace {

// FreeImage reports decoder trouble through a callback; without one it
// stays quiet, which is what a window wants. The result codes tell us all.
void quiet(FREE_IMAGE_FORMAT, const char*) {}

}  // namespace

bool completePixmap(const std::string& file) {
    std::vector<char> body;
    {
        std::ifstream in(file, std::ios::binary);
        if (!in) return false;
        body.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (in.bad()) return false;
    }
    // Written beside the file and moved over it, so that a failure cannot
    // leave half a bitmap under the picture's name.
    return app::ReplaceThroughPart(file, [&](const std::string& part) {
        std::ofstream out(part, std::ios::binary | std::ios::trunc);
        static const char kHead[10] = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0};
        out.write(kHead, sizeof kHead);
        out.write(body.data(), std::streamsize(body.size()));
        return bool(out.flush());
    });
}

bool convertPngToJpeg(const std::string& pngFile, const std::string& jpegFile) {
    FreeImage_SetOutputMessage(quiet);
    FIBITMAP* image = FreeImage_Load(FIF_PNG, pngFile.c_str(), 0);
    if (!image) return false;
    // JPEG holds no alpha channel: a 32-bit PNG is saved from its colours.
    FIBITMAP* saved = image;
    if (FreeImage_GetBPP(image) != 24 && FreeImage_GetBPP(image) != 8) saved = FreeImage_ConvertTo24Bits(image);
    bool ok = saved && FreeImage_Save(FIF_JPEG, saved, jpegFile.c_str(), 0) == TRUE;
    if (saved && saved != image) FreeImage_Unload(saved);
    FreeImage_Unload(image);
    if (!ok) std::remove(jpegFile.c_str());
    return ok;
}

}  // namespace qv::hardcopy
